#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include "game/graphics/GeometryInterface.h"
#include "game/graphics/GpuRecords.h"
#include "quorl/SharedMutex.h"
#include "quorl/vk/MappedBuffer.h"

namespace game::graphics {

// One thing the renderer shows: a transform and a list of geometries, each with a RenderableData
// record that the material setters fill. Instances are made by Make, which keeps a weak reference
// in the process-wide list the renderer walks.
class RenderableInstance : public std::enable_shared_from_this<RenderableInstance> {
public:
    using GeometryInterface = game::graphics::GeometryInterface;
    using DataBuffer = quorl::vk::MappedBuffer<RenderableData>;

    // Boxes: one AabbData per primitive, not indexed.
    class AabbGeometry : public GeometryInterface {
    public:
        explicit AabbGeometry(unsigned int voxelCount);
        AabbGeometry(AabbData* data, unsigned long long count);
        unsigned long long GetPrimitiveCount() const override { return boxes.Count(); }
        unsigned long long GetPrimitiveStride() const override { return sizeof(AabbData); }
        unsigned long long GetIndexCount() const override { return 0; }
        unsigned long long GetPrimitivesAddr() const override { return boxes.DeviceAddress(); }
        unsigned long long GetIndicesAddr() const override { return 0; }

        glm::vec4 baseColor{1.0f};
        quorl::vk::MappedBuffer<AabbData> boxes;
    };

    // Triangles: 3 floats per vertex, 16-bit indices while the vertices fit them, else 32-bit.
    class TriangleGeometry : public GeometryInterface {
    public:
        TriangleGeometry(unsigned int vertexCount, unsigned int indexCount);
        unsigned long long GetPrimitiveCount() const override { return vertices.Count(); }
        unsigned long long GetPrimitiveStride() const override { return sizeof(glm::vec3); }
        unsigned long long GetIndexCount() const override { return _indexCount; }
        unsigned long long GetPrimitivesAddr() const override { return vertices.DeviceAddress(); }
        unsigned long long GetIndicesAddr() const override {
            return indexType == kIndex16 ? indices16.DeviceAddress() : indices32.DeviceAddress();
        }

        glm::vec4 baseColor{1.0f};
        quorl::vk::MappedBuffer<glm::vec3> vertices;
        quorl::vk::MappedBuffer<uint16_t> indices16;  // the one of the index type is made
        quorl::vk::MappedBuffer<uint32_t> indices32;

    private:
        unsigned long long _indexCount;
    };

    // The only way to make an instance: its weak reference takes the first expired slot of the
    // shared list, or a new one at the end.
    template <class T, class... A>
    static std::shared_ptr<T> Make(A&&... args) {
        std::shared_ptr<T> object(new T(std::forward<A>(args)...));
        std::unique_lock lock(_sharedObjectsMutex);
        for (auto& slot : _sharedObjects) {
            if (slot.expired()) {
                slot = object;
                return object;
            }
        }
        _sharedObjects.push_back(object);
        return object;
    }

    RenderableInstance(unsigned int renderableType, unsigned int shaderIndex);
    // Another placement of other: its geometries and renderable data, a new transform, no names.
    RenderableInstance(std::shared_ptr<RenderableInstance> other, const glm::dmat4& transform);
    virtual ~RenderableInstance() = default;

    // Material setters: write the records of the geometries that bear the material `name`. False
    // without a data buffer or for an unknown name (SetPbrMetallicRoughness throws
    // std::out_of_range for that one).
    bool SetEmission(const std::string& name, const glm::vec3& emission);
    bool SetColor(const std::string& name, const glm::vec4& color, float factor);
    bool SetPbrMetallicRoughness(const std::string& name, float a, float b, float c);
    bool SetMonitorTexture(const std::string& name, unsigned int textureIndex, const glm::vec3& emission);
    // The aim id (from AddAimReference) that a ray hitting this instance reports.
    void SetAimID(unsigned int id) { aimId = id; }

    // The given main geometry, else the first of the list (null for none).
    GeometryInterface* MainGeometry() const {
        return mainGeometry ? mainGeometry : geometries.empty() ? nullptr : geometries.front().get();
    }

    unsigned int renderableType;
    unsigned int shaderIndex;
    glm::dmat4 transform{1.0};
    bool initialised = false;   // copied by the copy for placement
    bool alwaysUpdate = false;  // copied by the copy for placement
    bool visible = false;
    bool reservedFlag = false;
    uint32_t reserved[3] = {0, 0, 0};
    GeometryInterface* mainGeometry = nullptr;
    std::shared_ptr<DataBuffer> renderableData;
    std::unordered_map<std::string, std::vector<uint32_t>> names;  // material -> geometry indices
    std::vector<std::shared_ptr<GeometryInterface>> geometries;
    unsigned int aimId = 0;
    unsigned long long renderableDataAddress = 0;
    bool fresh = true;

    static std::vector<std::weak_ptr<RenderableInstance>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;

private:
    template <class F>
    bool Write(const std::vector<uint32_t>& indices, F&& write);
};

}  // namespace game::graphics

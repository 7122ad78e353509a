#pragma once
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/graphics/GpuRecords.h"
#include "quorl/SharedMutex.h"
#include "quorl/vk/MappedBuffer.h"

namespace game::graphics {

// A light: position, radius, optional direction with its focus, and one GPU record whose box
// bounds where the light still reaches, so the record is its own primitive. Every live light is
// in a process-wide list that the renderer walks.
class LightSourceInstance : public std::enable_shared_from_this<LightSourceInstance> {
public:
    LightSourceInstance(glm::vec3 position, float radius, glm::vec3 direction, float focus, glm::vec3 color,
                        float power);
    ~LightSourceInstance();
    LightSourceInstance(const LightSourceInstance&) = delete;
    LightSourceInstance& operator=(const LightSourceInstance&) = delete;

    // Calls f(LightSourceInstance&) for every live light under the list's shared lock: f must not
    // make or destroy lights.
    template <class F>
    static void ForEach(F&& f) {
        std::shared_lock lock(_instancesMutex);
        for (LightSourceInstance* light : _instances) f(*light);
    }

    // Power 0 switches the light off and changes nothing else. A new power recomputes the reach
    // (where the light has faded to 0.01) and the box; the colour, and a non-zero focus, are
    // written always.
    void SetPower(float power, glm::vec3 color, float focus);

    const LightSourceInstanceData& Data() const { return data[0]; }

    glm::vec3 position;
    float radius;  // absolute value
    glm::vec3 direction;
    float focus;
    quorl::vk::MappedBuffer<LightSourceInstanceData> data;
    glm::dmat4 transform{1.0};
    bool active = false;
    bool moved = false;
    bool boundsChanged = false;

    static std::vector<LightSourceInstance*> _instances;
    static quorl::SharedMutex _instancesMutex;
};

}  // namespace game::graphics

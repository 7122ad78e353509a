#pragma once
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/entity/ConvexMeshCollider.h"
#include "game/entity/JointSolver.h"
#include "quorl/filesystem/ConfigFile.h"

namespace game::graphics {
class Mesh;
}

namespace game::entity {

// A model's text file: named records (joints, colliders, adapters, targets, renderables,
// cameras, light boxes) in one tree of nodes. Positions and rotations in the file are in Blender
// axes (Z up) and degrees; every record's `transform` is converted to the game's axes (Y up:
// game x = x, game y = Blender z, game z = -Blender y).
//
// File form (INI lines, see quorl/filesystem/IniDocument.h): each record is a section whose
// header holds the record's keyword and name, "[COLLIDER left wing]", followed by lines of a key
// and its values, "position 1 0 2.5". Keywords: ENTITY, JOINT, CAMERA, TARGET, RENDERABLE,
// COLLIDER, ADAPTER, LIGHT_BOX. Unknown keywords and keys are ignored; a value that is missing
// or isn't a number leaves the field as it was. A record with more vertices, normals or
// triangles than a Collider holds, a triangle index past the vertex count or the 16-bit range,
// a non-finite number or a zero-length normal is rejected whole, and so are records whose parent
// chain loops; each rejection prints one line naming the file and the record.
class EntityConfig : public quorl::filesystem::ConfigFile {
public:
    struct Node {
        glm::mat4 transform{1.0f};  // relative to the parent node
        std::string parent;         // empty at a root
        std::string type;           // keyword of the record's section
    };
    struct Target {
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        glm::mat4 transform{1.0f};
    };
    struct Renderable {
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        glm::mat4 transform{1.0f};
    };
    struct Camera {
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        float znear = 0.0f;
        glm::mat4 transform{1.0f};
    };
    struct LightBox {
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        glm::vec3 box_min{0.0f};
        glm::vec3 box_max{0.0f};
        glm::mat4 transform{1.0f};
    };
    struct Adapter {
        std::string type;
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        glm::mat4 transform{1.0f};
    };
    struct Joint {
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        glm::mat4 transform{1.0f};
        // Per axis k: linear[0][k] and linear[2][k] are the ends of the range (either order),
        // linear[1][k] the initial value; in the file's axes and units (degrees for angular).
        glm::vec3 linear[3]{glm::vec3(0.0f), glm::vec3(0.0f), glm::vec3(0.0f)};
        glm::vec3 angular[3]{glm::vec3(0.0f), glm::vec3(0.0f), glm::vec3(0.0f)};
        bool linear_x = false, linear_y = false, linear_z = false;
        bool angular_x = false, angular_y = false, angular_z = false;
    };
    struct Collider {
        static constexpr uint16_t kMaxVertices = 8, kMaxFaceNormals = 12, kMaxTriangles = 12;
        std::string parent;
        glm::vec3 position{0.0f};
        glm::vec3 rotation{0.0f};
        bool is_build_block = false;
        float displacement_volume = 0.25f;
        glm::vec3 box_min{0.0f};  // game axes, sorted per axis
        glm::vec3 box_max{0.0f};
        uint16_t vertexCount = 0;
        uint16_t faceNormalCount = 0;
        uint16_t triangleCount = 0;
        glm::vec3 vertices[kMaxVertices]{};        // game axes
        glm::vec3 faceNormals[kMaxFaceNormals]{};  // game axes, unit length
        uint16_t triangles[kMaxTriangles][3]{};
        glm::mat4 transform{1.0f};
    };

    // The file is read by ReadConfig, not here. option as for ConfigFile (default: the model
    // file is not watched).
    explicit EntityConfig(const std::string& path, std::optional<int> option = 0);
    ~EntityConfig() override;

    double mass = 0;
    bool airtight = false;
    std::vector<std::string> base_planes{"-Z", "-Y"};
    std::unordered_map<std::string, Camera> cameras;
    std::unordered_map<std::string, Joint> joints;
    std::unordered_map<std::string, Target> targets;
    std::unordered_map<std::string, Renderable> renderables;
    std::unordered_map<std::string, Collider> colliders;
    std::unordered_map<std::string, Adapter> adapters;
    std::unordered_map<std::string, LightBox> lightBoxes;
    std::unordered_map<std::string, Node> nodes;
    mutable std::shared_ptr<graphics::Mesh> mesh;
    mutable std::filesystem::file_time_type meshWriteTime{};
    // The missing mesh of a model with renderables is reported once.
    mutable std::atomic<bool> meshMissingReported{false};
    JointSolver jointSolver{this};
    // BaseEntity::ReadConfigOnce reads the file under readOnceMutex the first time only: one
    // model's first read does not wait for another's.
    std::mutex readOnceMutex;
    bool loaded = false;

    // Reads the file. Cameras, joints, targets and renderables are replaced by the file's;
    // colliders, adapters, light boxes and nodes are updated by name and keep entries the file no
    // longer has. A file that can't be read (missing, not text) changes nothing. Ends with
    // jointSolver.Init().
    void ReadConfig() override;

    // Position and rotation (degrees) in Blender axes to the game's 4x4 transform.
    static glm::mat4 TransformFromBlender(const glm::vec3& position, const glm::vec3& rotation);
    static glm::dmat4 TransformFromBlender(const glm::dvec3& position, const glm::dvec3& rotation);

    // Product of the node transforms from the root down to name; identity for an unknown name,
    // and a chain ends at an unknown parent.
    glm::dmat4 GetAbsoluteTransform(const std::string& name) const;
    // The same product, stopping below the first JOINT node on the way up (whose name goes to
    // jointName; left as it is when the chain reaches the root). Identity when name is a joint.
    glm::dmat4 GetTransformRelativeToFirstParentJointOrRoot(const std::string& name, std::string& jointName) const;

    // Folder of this file + "/" + its stem + ".gltf".
    std::string GetMeshFilePath() const;
    // The model's mesh, loaded at the first call when the mesh file exists and Game::renderer is
    // set; empty otherwise. A model with RENDERABLE records whose mesh file is missing is named
    // on the error stream (once). A mesh that breaks the format ends in Mesh's assertion; one
    // that can't be read throws std::runtime_error.
    std::shared_ptr<graphics::Mesh> GetMesh() const;

    // The run-time shape of a collider record: a record without vertices becomes its box (8
    // vertices, 3 normals, 12 triangles); bounds and radius come from the vertices; displacement
    // is 0.
    static ConvexMeshCollider MakeCollider(const Collider& record, const glm::dmat4& transform);
    // The same for the collider called name, placed at its absolute transform. Throws
    // std::out_of_range for an unknown name.
    ConvexMeshCollider MakeCollider(const std::string& name) const;
};

}  // namespace game::entity

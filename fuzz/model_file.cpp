// Arbitrary bytes as a model file: counts within the collider arrays, triangle indices below the
// vertex count, finite transforms, tree queries that end, finite shapes and joint-solver pass.
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <unordered_map>

#include "game/entity/EntityConfig.h"

using game::entity::EntityConfig;

namespace {

bool Finite(const glm::dmat4& m) {
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            if (!std::isfinite(m[c][r])) return false;
    return true;
}

struct Instance {
    std::unordered_map<std::string, game::entity::Joint> joints;
    std::unordered_map<std::string, glm::dmat4> nodeTransforms;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_model_file_" + std::to_string(::getpid()) + ".ini";
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    EntityConfig config(path);
    config.ReadConfig();
    config.ReadConfig();  // a second read merges into the first

    for (const auto& [name, c] : config.colliders) {
        if (c.vertexCount > 8 || c.faceNormalCount > 12 || c.triangleCount > 12) std::abort();
        for (int t = 0; t < c.triangleCount; ++t)
            for (int k = 0; k < 3; ++k)
                if (c.triangles[t][k] >= c.vertexCount) std::abort();
        if (!std::isfinite(config.MakeCollider(name).radius) && c.vertexCount > 0) std::abort();
    }
    Instance entity;
    for (const auto& [name, node] : config.nodes) {
        if (!Finite(glm::dmat4(node.transform))) std::abort();
        entity.nodeTransforms[name] = config.GetAbsoluteTransform(name);
        std::string joint;
        config.GetTransformRelativeToFirstParentJointOrRoot(name, joint);
    }
    for (const auto& [name, joint] : config.joints) entity.joints[name] = {joint.linear[0] * 2.0f, joint.angular[2]};
    config.jointSolver(&entity);
    ::unlink(path.c_str());
    return 0;
}

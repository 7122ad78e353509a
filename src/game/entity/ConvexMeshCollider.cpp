#include "game/entity/ConvexMeshCollider.h"

#include <algorithm>
#include <limits>

#include <glm/geometric.hpp>

namespace game::entity {

void ConvexMeshCollider::SetBox(const glm::vec3& a, const glm::vec3& b) {
    const glm::vec3 lo = glm::min(a, b), hi = glm::max(a, b);
    vertexCount = 8;
    for (int i = 0; i < 8; ++i) {
        vertices[i] = glm::vec3((i & 4) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 1) ? hi.z : lo.z);
    }
    faceNormalCount = 3;
    faceNormals[0] = {1, 0, 0};
    faceNormals[1] = {0, 1, 0};
    faceNormals[2] = {0, 0, 1};
    static constexpr uint16_t kTriangles[12][3] = {{0, 1, 2}, {1, 3, 2}, {4, 5, 6}, {5, 7, 6},
                                                   {0, 1, 4}, {1, 5, 4}, {2, 3, 6}, {3, 7, 6},
                                                   {0, 2, 4}, {2, 6, 4}, {1, 3, 5}, {3, 7, 5}};
    triangleCount = 12;
    for (int t = 0; t < 12; ++t) std::copy(kTriangles[t], kTriangles[t] + 3, triangles[t]);
    RecomputeBounds();
}

void ConvexMeshCollider::RecomputeBounds() {
    const float big = std::numeric_limits<float>::max();
    box_min = glm::vec3(big);
    box_max = glm::vec3(-big);
    for (uint32_t i = 0; i < vertexCount && i < 8; ++i) {
        box_min = glm::min(box_min, vertices[i]);
        box_max = glm::max(box_max, vertices[i]);
    }
    radius = 0.5 * glm::length(glm::dvec3(box_max) - glm::dvec3(box_min));
}

}  // namespace game::entity

#include "game/physics/ConvexCollisionReference.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>

namespace game::physics {

using entity::ConvexMeshCollider;

Collision ReferenceConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    auto centreOf = [](const ConvexMeshCollider& c) {
        return glm::dvec3(c.transform * glm::dvec4((glm::dvec3(c.box_min) + glm::dvec3(c.box_max)) * 0.5, 1.0));
    };
    const glm::dvec3 cA = centreOf(a), cB = centreOf(b);
    auto project = [](const ConvexMeshCollider& c, const glm::dvec3& axis) {
        std::pair<double, double> range(std::numeric_limits<double>::max(), -std::numeric_limits<double>::max());
        for (uint32_t i = 0; i < c.vertexCount; ++i) {
            const double d = glm::dot(glm::dvec3(c.transform * glm::dvec4(glm::dvec3(c.vertices[i]), 1.0)), axis);
            range.first = std::min(range.first, d);
            range.second = std::max(range.second, d);
        }
        return range;
    };
    if (glm::length(cB - cA) > a.radius + b.radius) return {};
    double best = std::numeric_limits<double>::max();
    glm::dvec3 bestAxis(0.0);
    auto test = [&](const glm::dvec3& axis, double lo, double hi, double loB, double hiB) {
        const double overlap = std::min(hi, hiB) - std::max(lo, loB);
        if (!(overlap > 0)) return false;
        if (overlap < best) {
            best = overlap;
            bestAxis = axis;
        }
        return true;
    };
    auto sign = [](double x) { return double((0.0 < x) - (x < 0.0)); };
    auto bad = [](const glm::dvec3& v) { return !std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z); };
    std::vector<glm::dvec3> vb;
    for (uint32_t i = 0; i < b.vertexCount; ++i) {
        vb.push_back(glm::dvec3(b.transform * glm::dvec4(glm::dvec3(b.vertices[i]), 1.0)));
    }
    if (a.isSphere) {
        auto sphereTest = [&](const glm::dvec3& axis) {
            const auto [lo, hi] = project(b, axis);
            const double c = glm::dot(cA, axis);
            if (c - a.radius > hi || lo > c + a.radius) return false;
            return test(axis, c - a.radius, c + a.radius, lo, hi);
        };
        for (uint32_t i = 0; i < b.faceNormalCount; ++i) {
            const glm::dvec3 axis = glm::normalize(glm::dvec3(b.transform * glm::dvec4(glm::dvec3(b.faceNormals[i]), 0.0)));
            if (!bad(axis) && !sphereTest(axis)) return {};
        }
        for (const auto& v : vb) {
            if (!bad(glm::normalize(v - cA)) && !sphereTest(glm::normalize(v - cA))) return {};
        }
        for (size_t i = 0; i < vb.size(); ++i) {
            for (size_t j = 0; j < vb.size(); ++j) {
                if (i == j) continue;
                const glm::dvec3 c = glm::cross(glm::normalize(vb[i] - cA), glm::normalize(vb[j] - vb[i]));
                if (glm::length(c) < 1e-6) continue;
                if (!bad(glm::normalize(c)) && !sphereTest(glm::normalize(c))) return {};
            }
        }
        Collision hit;
        hit.normal = sign(glm::dot(glm::normalize(cA - cB), bestAxis)) * bestAxis;
        hit.position = cA - hit.normal * a.radius;
        hit.depth = best;
        return hit;
    }
    auto hullTest = [&](const glm::dvec3& axis) {
        const auto [lo, hi] = project(a, axis);
        const auto [loB, hiB] = project(b, axis);
        return test(axis, lo, hi, loB, hiB);
    };
    for (const ConvexMeshCollider* s : {&a, &b}) {
        for (uint32_t i = 0; i < s->faceNormalCount; ++i) {
            const glm::dvec3 axis = glm::normalize(glm::dvec3(s->transform * glm::dvec4(glm::dvec3(s->faceNormals[i]), 0.0)));
            if (!bad(axis) && !hullTest(axis)) return {};
        }
    }
    for (uint32_t i = 0; i < a.vertexCount; ++i) {
        for (uint32_t j = i + 1; j < a.vertexCount; ++j) {
            const glm::vec3 ea = glm::normalize(a.vertices[i] - a.vertices[j]);
            const glm::dvec3 wa(a.transform * glm::dvec4(glm::dvec3(ea), 0.0));
            for (uint32_t k = 0; k < b.vertexCount; ++k) {
                for (uint32_t l = k + 1; l < b.vertexCount; ++l) {
                    const glm::vec3 eb = glm::normalize(b.vertices[k] - b.vertices[l]);
                    const glm::dvec3 wb(b.transform * glm::dvec4(glm::dvec3(eb), 0.0));
                    const glm::dvec3 axis = glm::normalize(glm::cross(wa, wb));
                    if (!bad(axis) && !hullTest(axis)) return {};
                }
            }
        }
    }
    Collision hit;
    hit.normal = sign(glm::dot(glm::normalize(cA - cB), bestAxis)) * bestAxis;
    hit.depth = best;
    const ConvexMeshCollider& w = a.radius > b.radius ? b : a;
    const ConvexMeshCollider& o = a.radius > b.radius ? a : b;
    double bestDistance = std::numeric_limits<float>::max();
    for (uint32_t i = 0; i < w.vertexCount; ++i) {
        const glm::dvec3 p(w.transform * glm::dvec4(glm::dvec3(w.vertices[i]), 1.0));
        const glm::dvec3 inO(glm::affineInverse(o.transform) * glm::dvec4(p, 1.0));
        const glm::dvec3 q(o.transform * glm::dvec4(glm::clamp(inO, glm::dvec3(o.box_min), glm::dvec3(o.box_max)), 1.0));
        if (glm::length(p - q) < bestDistance) {
            bestDistance = glm::length(p - q);
            const glm::dvec3 inW(glm::affineInverse(w.transform) * glm::dvec4(q, 1.0));
            hit.position = glm::dvec3(w.transform * glm::dvec4(glm::clamp(inW, glm::dvec3(w.box_min), glm::dvec3(w.box_max)), 1.0));
        }
    }
    return hit;
}

}  // namespace game::physics

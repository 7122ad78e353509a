#pragma once
#include <cstring>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

// Products of double matrices for the hot paths of the physics step, a column at a time. Each
// gives bit for bit what glm's operator gives (the same products summed in the same order), so
// either may be used anywhere; these only run two or four lanes per instruction.
namespace game::physics {

namespace detail {
using Column = double __attribute__((vector_size(4 * sizeof(double))));
static_assert(sizeof(glm::dmat4) == 4 * sizeof(Column));
}  // namespace detail

// m1 * m2.
inline glm::dmat4 Multiply(const glm::dmat4& m1, const glm::dmat4& m2) {
    using detail::Column;
    Column a[4];
    std::memcpy(a, &m1, sizeof a);
    glm::dmat4 result;
    for (int c = 0; c < 4; ++c) {
        const glm::dvec4& b = m2[c];
        const Column column = a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
        std::memcpy(&result[c], &column, sizeof(Column));
    }
    return result;
}

// m * v, summed as glm does: (m0 x + m1 y) + (m2 z + m3 w).
inline glm::dvec4 Multiply(const glm::dmat4& m, const glm::dvec4& v) {
    using detail::Column;
    Column a[4];
    std::memcpy(a, &m, sizeof a);
    const Column column = (a[0] * v.x + a[1] * v.y) + (a[2] * v.z + a[3] * v.w);
    glm::dvec4 result;
    std::memcpy(&result, &column, sizeof(Column));
    return result;
}

// The point p placed by m: dvec3(m * dvec4(p, 1)).
inline glm::dvec3 TransformPoint(const glm::dmat4& m, const glm::dvec3& p) {
    return glm::dvec3(Multiply(m, glm::dvec4(p, 1.0)));
}

// The direction d turned by m: dvec3(m * dvec4(d, 0)).
inline glm::dvec3 TransformDirection(const glm::dmat4& m, const glm::dvec3& d) {
    return glm::dvec3(Multiply(m, glm::dvec4(d, 0.0)));
}

}  // namespace game::physics

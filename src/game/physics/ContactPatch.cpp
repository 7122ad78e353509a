#include "game/physics/ContactPatch.h"

#include <cmath>

#include <glm/geometric.hpp>

namespace game::physics {

namespace {

// A placed box's face: outward unit normal, centre, and the two half edges that span it.
struct Face {
    glm::dvec3 normal, centre, u, v;
};

// The face of `box` whose outward normal lies closest to `direction`, and how close (the cosine).
Face FaceToward(const PlacedBox& box, const glm::dvec3& direction, double& alignment) {
    int best = 0;
    double bestDot = 0;
    for (int k = 0; k < 3; ++k) {
        const double length = glm::length(box.half[k]);
        const double d = length > 0 ? glm::dot(box.half[k], direction) / length : 0.0;
        if (std::abs(d) > std::abs(bestDot)) {
            bestDot = d;
            best = k;
        }
    }
    const double sign = bestDot < 0 ? -1.0 : 1.0;
    const glm::dvec3 half = box.half[best] * sign;
    alignment = std::abs(bestDot);
    const double length = glm::length(half);
    return {length > 0 ? half / length : glm::dvec3(0.0), box.center + half, box.half[(best + 1) % 3],
            box.half[(best + 2) % 3]};
}

// Keeps the part of the polygon `in` where dot(p, axis) <= limit.
int ClipBelow(const glm::dvec3* in, int count, const glm::dvec3& axis, double limit, glm::dvec3* out) {
    int n = 0;
    for (int i = 0; i < count; ++i) {
        const glm::dvec3& p = in[i];
        const glm::dvec3& q = in[(i + 1) % count];
        const double dp = glm::dot(p, axis) - limit, dq = glm::dot(q, axis) - limit;
        if (dp <= 0 && n < ContactPatch::kMaxPoints) out[n++] = p;
        // An edge that strictly crosses the plane; a corner on it is kept once, above.
        if (((dp < 0 && dq > 0) || (dp > 0 && dq < 0)) && n < ContactPatch::kMaxPoints)
            out[n++] = p + (q - p) * (dp / (dp - dq));
    }
    return n;
}

}  // namespace

ContactPatch ContactPatch::Between(const PlacedBox& a, const PlacedBox& b, const glm::dvec3& normal) {
    ContactPatch patch;
    // The reference face is b's face toward a, unless a's face toward b meets the normal clearly
    // better; the small bias keeps the choice from flipping between substeps.
    double alignA = 0, alignB = 0;
    const Face faceA = FaceToward(a, -normal, alignA);
    const Face faceB = FaceToward(b, normal, alignB);
    const bool bIsReference = alignB >= 0.98 * alignA - 0.001;
    const Face& reference = bIsReference ? faceB : faceA;
    const PlacedBox& incidentBox = bIsReference ? a : b;
    double ignored = 0;
    const Face incident = FaceToward(incidentBox, -reference.normal, ignored);

    glm::dvec3 bufferA[kMaxPoints], bufferB[kMaxPoints];
    bufferA[0] = incident.centre + incident.u + incident.v;
    bufferA[1] = incident.centre - incident.u + incident.v;
    bufferA[2] = incident.centre - incident.u - incident.v;
    bufferA[3] = incident.centre + incident.u - incident.v;
    int count = 4;
    glm::dvec3* in = bufferA;
    glm::dvec3* out = bufferB;
    for (const glm::dvec3& edge : {reference.u, reference.v}) {
        const double length = glm::length(edge);
        if (!(length > 0)) return patch;
        const glm::dvec3 axis = edge / length;
        const double middle = glm::dot(reference.centre, axis);
        count = ClipBelow(in, count, axis, middle + length, out);
        std::swap(in, out);
        count = ClipBelow(in, count, -axis, -middle + length, out);
        std::swap(in, out);
        if (count == 0) return patch;
    }

    const double surface = glm::dot(reference.centre, reference.normal);
    for (int i = 0; i < count; ++i) {
        const double height = glm::dot(in[i], reference.normal) - surface;
        if (height <= kSlop) patch.points[patch.count++] = in[i] - height * reference.normal;
    }
    if (patch.count == 0) return patch;

    // The area's centroid, from a fan of triangles; the points' mean when they enclose no area.
    glm::dvec3 mean(0.0);
    for (int i = 0; i < patch.count; ++i) mean += patch.points[i];
    mean /= double(patch.count);
    glm::dvec3 weighted(0.0);
    double area = 0;
    for (int i = 1; i + 1 < patch.count; ++i) {
        const glm::dvec3& p0 = patch.points[0];
        const double twice = glm::dot(glm::cross(patch.points[i] - p0, patch.points[i + 1] - p0), reference.normal);
        weighted += twice * (p0 + patch.points[i] + patch.points[i + 1]) / 3.0;
        area += twice;
    }
    patch.centre = std::abs(area) > 1e-9 ? weighted / area : mean;
    return patch;
}

}  // namespace game::physics

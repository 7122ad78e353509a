// Where two boxes touch: the incident face clipped to the reference face, and its centroid.
#include <gtest/gtest.h>

#include <glm/gtc/quaternion.hpp>

#include "game/physics/ContactPatch.h"

namespace {

using game::physics::ContactPatch;
using game::physics::PlacedBox;

PlacedBox Box(glm::dvec3 centre, glm::dvec3 half, glm::dquat turn = glm::dquat(1, 0, 0, 0)) {
    PlacedBox box{centre, {turn * glm::dvec3(half.x, 0, 0), turn * glm::dvec3(0, half.y, 0), turn * glm::dvec3(0, 0, half.z)}, 0};
    return box;
}

constexpr double kEps = 1e-9;
const glm::dvec3 kUp(0, 1, 0);
const PlacedBox kSlab = Box({0, -0.25, 0}, {10, 0.25, 10});  // top face at y = 0

TEST(ContactPatch, FaceOnFaceIsTheOverlapOfTheFacesAndItsCentroid) {
    // Flat on the slab, a little into it: the box's bottom face, laid on the slab's top.
    ContactPatch flat = ContactPatch::Between(Box({0.3, 0.499, -0.2}, {0.5, 0.5, 0.5}), kSlab, kUp);
    ASSERT_EQ(flat.count, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(flat.points[i].y, 0.0, kEps);
        EXPECT_NEAR(std::abs(flat.points[i].x - 0.3), 0.5, kEps);
    }
    EXPECT_NEAR(glm::length(flat.centre - glm::dvec3(0.3, 0, -0.2)), 0.0, kEps);

    // Turned by 45 degrees on an equal box: an octagon around the common axis.
    const PlacedBox below = Box({0, 0, 0}, {0.5, 0.5, 0.5});
    const glm::dquat turn = glm::angleAxis(glm::radians(45.0), kUp);
    ContactPatch octagon = ContactPatch::Between(Box({0, 0.999, 0}, {0.5, 0.5, 0.5}, turn), below, kUp);
    EXPECT_EQ(octagon.count, 8);
    EXPECT_NEAR(glm::length(octagon.centre - glm::dvec3(0, 0.5, 0)), 0.0, kEps);

    // Hanging over the edge of the box below by 0.8: only the strip x in [0.3, 0.5] touches, and
    // the contact acts at its middle, not at the box's.
    ContactPatch ledge = ContactPatch::Between(Box({0.8, 0.999, 0}, {0.5, 0.5, 0.5}), below, kUp);
    ASSERT_EQ(ledge.count, 4);
    EXPECT_NEAR(glm::length(ledge.centre - glm::dvec3(0.4, 0.5, 0)), 0.0, kEps);
}

TEST(ContactPatch, TiltedBoxTouchesAlongItsLowEdgeOnly) {
    // Tipped by 10 degrees about z, its lowest edge 1 mm into the slab: the two ends of that edge.
    const glm::dquat tip = glm::angleAxis(glm::radians(10.0), glm::dvec3(0, 0, 1));
    const glm::dvec3 lowEdge = tip * glm::dvec3(-0.5, -0.5, 0);  // middle of the lowest edge
    ContactPatch edge = ContactPatch::Between(Box(glm::dvec3(0, -0.001, 0) - lowEdge, {0.5, 0.5, 0.5}, tip), kSlab, kUp);
    ASSERT_EQ(edge.count, 2);
    EXPECT_NEAR(edge.centre.x, 0.0, kEps);
    EXPECT_NEAR(edge.centre.z, 0.0, kEps);
    EXPECT_NEAR(std::abs(edge.points[0].z - edge.points[1].z), 1.0, kEps);

    // Lifted clear of the slab by more than the slop: nothing touches.
    EXPECT_EQ(ContactPatch::Between(Box({0, 0.52, 0}, {0.5, 0.5, 0.5}), kSlab, kUp).count, 0);
}

}  // namespace

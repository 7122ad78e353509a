#include <gtest/gtest.h>

#include <cmath>

#include "game/physics/EnvironmentInfo.h"

using game::physics::GetDragForce;

// A 2 x 1 x 0.5 m box moving at 10 m/s along x through air (rho 1.2, Cd 1.05, mu 1.8e-5):
// frontal area for x is s_x s_y = 2, so the pressure drag is 0.5 * 1.2 * 1.05 * 2 * 100 = 126 N
// and Stokes adds 6 pi * 1.8e-5 * 10 * 2.
TEST(EnvironmentDrag, KnownCaseAlongX) {
    glm::dvec3 f = GetDragForce(1.2, {2, 1, 0.5}, {10, 0, 0}, 1.05, 1.8e-5);
    EXPECT_NEAR(f.x, -(126.0 + 6 * M_PI * 1.8e-5 * 20), 1e-9);
    EXPECT_EQ(f.y, 0.0);
    EXPECT_EQ(f.z, 0.0);
}

TEST(EnvironmentDrag, OpposesMotionOnEveryAxisWithCyclicAreas) {
    glm::dvec3 size{1, 2, 3};
    glm::dvec3 f = GetDragForce(1000, size, {-1, 2, -3}, 0.5, 0);
    // A_x = 1*2, A_y = 2*3, A_z = 3*1
    EXPECT_NEAR(f.x, 0.5 * 1000 * 0.5 * 2 * 1, 1e-9);
    EXPECT_NEAR(f.y, -0.5 * 1000 * 0.5 * 6 * 4, 1e-9);
    EXPECT_NEAR(f.z, 0.5 * 1000 * 0.5 * 3 * 9, 1e-9);
    EXPECT_EQ(GetDragForce(1000, size, {0, 0, 0}, 0.5, 1e-3), glm::dvec3(0.0));
}

TEST(EnvironmentDrag, DefaultInfoIsZeroWithIdentityFrame) {
    game::physics::EnvironmentInfo info;
    EXPECT_EQ(info.transform, glm::dmat4(1.0));
    EXPECT_EQ(info.gravity, glm::dvec3(0.0));
    EXPECT_EQ(info.density, 0.0);
    EXPECT_TRUE(info.composition.empty());
}

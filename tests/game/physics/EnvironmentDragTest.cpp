// Drag of a box: quadratic pressure drag on each axis's frontal area plus Stokes drag, against the motion.
#include <gtest/gtest.h>

#include <cmath>

#include "game/physics/EnvironmentInfo.h"

using game::physics::GetDragForce;

TEST(EnvironmentDrag, OpposesMotionOnEveryAxisWithCyclicAreas) {
    // 2 x 1 x 0.5 m at 10 m/s along x in air: 0.5 * 1.2 * 1.05 * 2 * 100 = 126 N, plus 6 pi mu v * 2.
    glm::dvec3 f = GetDragForce(1.2, {2, 1, 0.5}, {10, 0, 0}, 1.05, 1.8e-5);
    EXPECT_NEAR(f.x, -(126.0 + 6 * M_PI * 1.8e-5 * 20), 1e-9);
    EXPECT_EQ(f.y, 0.0);
    EXPECT_EQ(f.z, 0.0);
    // Frontal areas A_x = 1*2, A_y = 2*3, A_z = 3*1.
    f = GetDragForce(1000, {1, 2, 3}, {-1, 2, -3}, 0.5, 0);
    EXPECT_NEAR(f.x, 0.5 * 1000 * 0.5 * 2 * 1, 1e-9);
    EXPECT_NEAR(f.y, -0.5 * 1000 * 0.5 * 6 * 4, 1e-9);
    EXPECT_NEAR(f.z, 0.5 * 1000 * 0.5 * 3 * 9, 1e-9);
    EXPECT_EQ(GetDragForce(1000, {1, 2, 3}, {0, 0, 0}, 0.5, 1e-3), glm::dvec3(0.0));
}

// The column-wise products must give glm's results bit for bit, signed zeros and special values
// included, since the physics step's results are compared bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "game/physics/MatrixMath.h"

namespace {

// Equal bits in every component, or not-a-number in both (which of two not-a-numbers an
// operation passes on is the compiler's choice, even between two builds of one expression).
template <class T>
bool SameBits(const T& a, const T& b) {
    const double* x = reinterpret_cast<const double*>(&a);
    const double* y = reinterpret_cast<const double*>(&b);
    for (size_t i = 0; i < sizeof(T) / sizeof(double); ++i) {
        if (!(std::isnan(x[i]) && std::isnan(y[i])) && std::memcmp(x + i, y + i, sizeof(double)) != 0) return false;
    }
    return true;
}

// Mostly ordinary values, with zeros of both signs, infinities and not-a-numbers mixed in.
double Value(std::mt19937_64& rng) {
    const double special[] = {0.0, -0.0, 1.0, -1.0, std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
                              1e-310, 1e300};
    if (rng() % 4 == 0) return special[rng() % std::size(special)];
    return std::uniform_real_distribution<double>(-50.0, 50.0)(rng);
}

glm::dmat4 Matrix(std::mt19937_64& rng) {
    glm::dmat4 m;
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) m[c][r] = Value(rng);
    return m;
}

}  // namespace

TEST(PhysicsMatrixMath, ProductsMatchGlmBitForBit) {
    std::mt19937_64 rng(11);
    for (int trial = 0; trial < 20000; ++trial) {
        const glm::dmat4 a = Matrix(rng), b = Matrix(rng);
        const glm::dvec4 v(Value(rng), Value(rng), Value(rng), Value(rng));
        const glm::dvec3 p(v);
        SCOPED_TRACE(trial);
        ASSERT_TRUE(SameBits(game::physics::Multiply(a, b), a * b));
        ASSERT_TRUE(SameBits(game::physics::Multiply(a, v), a * v));
        ASSERT_TRUE(SameBits(game::physics::TransformPoint(a, p), glm::dvec3(a * glm::dvec4(p, 1.0))));
        ASSERT_TRUE(SameBits(game::physics::TransformDirection(a, p), glm::dvec3(a * glm::dvec4(p, 0.0))));
    }
}

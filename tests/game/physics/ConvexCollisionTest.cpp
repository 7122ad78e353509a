// The separating-axis test against a brute-force geometric reference and its literal reading.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <glm/gtc/matrix_inverse.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/physics/ConvexCollision.h"
#include "game/physics/ConvexCollisionReference.h"

using game::entity::ConvexMeshCollider;
using game::physics::Collision;
using game::physics::ConvexCollision;

namespace {

// A box of the given half sizes around the origin, or the sphere around that box.
ConvexMeshCollider Box(const glm::vec3& half, bool sphere = false) {
    ConvexMeshCollider c;
    c.SetBox(-half, half);
    c.isSphere = sphere;
    return c;
}

ConvexMeshCollider Cube() { return Box(glm::vec3(0.5f)); }
ConvexMeshCollider Slab() { return Box({2.0f, 0.1f, 1.5f}); }
ConvexMeshCollider Sphere() { return Box(glm::vec3(0.5f), true); }

// A tapered wing: chord 2 and thickness 0.3 at the root, chord 1 and thickness 0.1 at the tip,
// span 4. Same corner numbering and triangles as a box; five distinct face directions.
ConvexMeshCollider Wing() {
    ConvexMeshCollider c = Cube();
    const glm::vec3 v[8] = {{0, -0.15f, 0}, {0.5f, -0.05f, 4}, {0, 0.15f, 0}, {0.5f, 0.05f, 4},
                            {2, -0.15f, 0}, {1.5f, -0.05f, 4}, {2, 0.15f, 0}, {1.5f, 0.05f, 4}};
    const glm::vec3 normals[5] = {{4, 0, -0.5f}, {4, 0, 0.5f}, {0, 4, -0.1f}, {0, 4, 0.1f}, {0, 0, 1}};
    for (int i = 0; i < 8; ++i) c.vertices[i] = v[i];
    for (int i = 0; i < 5; ++i) c.faceNormals[i] = glm::normalize(normals[i]);
    c.faceNormalCount = 5;
    c.RecomputeBounds();
    return c;
}

// A hull of fewer than 8 vertices; each face is given by three of its vertices, and its normal
// is made from them, outward. (The collision test reads only vertices and face normals.)
ConvexMeshCollider HullOf(const std::vector<glm::vec3>& vertices, const std::vector<std::array<int, 3>>& faces) {
    ConvexMeshCollider c;
    c.vertexCount = uint32_t(vertices.size());
    glm::vec3 centroid(0.0f);
    for (size_t i = 0; i < vertices.size(); ++i) {
        c.vertices[i] = vertices[i];
        centroid += vertices[i] / float(vertices.size());
    }
    c.faceNormalCount = uint32_t(faces.size());
    for (size_t f = 0; f < faces.size(); ++f) {
        const glm::vec3 a = vertices[faces[f][0]], b = vertices[faces[f][1]], d = vertices[faces[f][2]];
        glm::vec3 n = glm::normalize(glm::cross(b - a, d - a));
        c.faceNormals[f] = glm::dot(n, a - centroid) < 0 ? -n : n;
    }
    c.triangleCount = 0;
    c.RecomputeBounds();
    return c;
}

// Hulls of 4 to 7 vertices: a tetrahedron, a leaning square pyramid, a wedge (triangular prism)
// and a cube with a corner cut off.
std::vector<ConvexMeshCollider> SmallHulls() {
    return {
        HullOf({{-0.5f, -0.4f, -0.5f}, {0.7f, -0.4f, -0.5f}, {-0.5f, 0.6f, -0.5f}, {-0.5f, -0.4f, 0.8f}},
               {{0, 1, 2}, {0, 1, 3}, {0, 2, 3}, {1, 2, 3}}),
        HullOf({{-0.6f, -0.3f, -0.6f}, {0.6f, -0.3f, -0.6f}, {-0.6f, -0.3f, 0.6f}, {0.6f, -0.3f, 0.6f}, {0.1f, 0.7f, 0}},
               {{0, 1, 2}, {0, 1, 4}, {2, 3, 4}, {0, 2, 4}, {1, 3, 4}}),
        HullOf({{-0.5f, -0.5f, -0.9f}, {0.5f, -0.5f, -0.9f}, {0, 0.4f, -0.9f},
                {-0.5f, -0.5f, 0.9f}, {0.5f, -0.5f, 0.9f}, {0, 0.4f, 0.9f}},
               {{0, 1, 2}, {0, 1, 3}, {1, 2, 4}, {0, 2, 3}}),
        HullOf({{-0.5f, -0.5f, -0.5f}, {-0.5f, -0.5f, 0.5f}, {-0.5f, 0.5f, -0.5f}, {-0.5f, 0.5f, 0.5f},
                {0.5f, -0.5f, -0.5f}, {0.5f, -0.5f, 0.5f}, {0.5f, 0.5f, -0.5f}},
               {{0, 1, 2}, {0, 1, 4}, {0, 2, 4}, {3, 5, 6}}),
    };
}

struct Hull {
    std::vector<glm::dvec3> vertices;
    std::vector<glm::dvec3> faceNormals;  // from the triangles, outward
    std::vector<glm::dvec3> edges;        // each direction once
};

Hull Place(const ConvexMeshCollider& c) {
    Hull h;
    for (uint32_t i = 0; i < c.vertexCount; ++i) {
        h.vertices.push_back(glm::dvec3(c.transform * glm::dvec4(glm::dvec3(c.vertices[i]), 1.0)));
    }
    glm::dvec3 centroid(0.0);
    for (const auto& v : h.vertices) centroid += v / double(h.vertices.size());
    for (uint32_t t = 0; t < c.triangleCount; ++t) {
        const glm::dvec3 a = h.vertices[c.triangles[t][0]], b = h.vertices[c.triangles[t][1]],
                         d = h.vertices[c.triangles[t][2]];
        glm::dvec3 n = glm::normalize(glm::cross(b - a, d - a));
        if (glm::dot(n, a - centroid) < 0) n = -n;
        h.faceNormals.push_back(n);
        for (const glm::dvec3& e : {b - a, d - b, a - d}) {
            bool seen = false;
            for (const glm::dvec3& k : h.edges) seen = seen || glm::length(glm::cross(k, e)) < 1e-12 * glm::dot(k, k);
            if (!seen) h.edges.push_back(glm::normalize(e));
        }
    }
    return h;
}

std::pair<double, double> Range(const Hull& h, const glm::dvec3& axis) {
    std::pair<double, double> r(std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity());
    for (const auto& v : h.vertices) r = {std::min(r.first, glm::dot(v, axis)), std::max(r.second, glm::dot(v, axis))};
    return r;
}

double Overlap(const Hull& a, const Hull& b, const glm::dvec3& axis) {
    const auto [la, ha] = Range(a, axis);
    const auto [lb, hb] = Range(b, axis);
    return std::min(ha, hb) - std::max(la, lb);
}

// Least overlap over the complete set of separating axes of two convex polyhedra (face normals
// and cross products of edges). Negative: separated by that much.
double MinOverlap(const Hull& a, const Hull& b) {
    double best = std::numeric_limits<double>::infinity();
    auto consider = [&](glm::dvec3 axis) {
        if (glm::length(axis) < 1e-9) return;
        best = std::min(best, Overlap(a, b, glm::normalize(axis)));
    };
    for (const auto& n : a.faceNormals) consider(n);
    for (const auto& n : b.faceNormals) consider(n);
    for (const auto& ea : a.edges)
        for (const auto& eb : b.edges) consider(glm::cross(ea, eb));
    return best;
}

glm::dmat4 RandomPose(std::mt19937_64& rng, double spread) {
    std::normal_distribution<double> gauss;
    std::uniform_real_distribution<double> uniform(-spread, spread);
    const glm::dquat q = glm::normalize(glm::dquat(gauss(rng), gauss(rng), gauss(rng), gauss(rng)));
    return glm::translate(glm::dmat4(1.0), glm::dvec3(uniform(rng), uniform(rng), uniform(rng))) * glm::mat4_cast(q);
}

glm::dvec3 CentreOf(const ConvexMeshCollider& c) {
    return glm::dvec3(c.transform * glm::dvec4((glm::dvec3(c.box_min) + glm::dvec3(c.box_max)) * 0.5, 1.0));
}

glm::dmat4 QuarterTurn(int axis) {
    return glm::mat4_cast(glm::angleAxis(glm::half_pi<double>(), glm::dvec3(axis == 0, axis == 1, axis >= 2)));
}

// Whether two results are the same, depth, normal and position.
::testing::AssertionResult Same(const Collision& x, const Collision& y) {
    if (x.depth == y.depth && x.normal == y.normal && x.position == y.position) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "depth " << x.depth << " against " << y.depth;
}

::testing::AssertionResult SameAsReference(const Collision& fast, const ConvexMeshCollider& a,
                                           const ConvexMeshCollider& b) {
    return Same(fast, game::physics::ReferenceConvexCollision(a, b));
}

bool InsideBox(const ConvexMeshCollider& c, const glm::dvec3& worldPoint, double tolerance) {
    const glm::dvec3 p(glm::inverse(c.transform) * glm::dvec4(worldPoint, 1.0));
    for (int k = 0; k < 3; ++k) {
        if (p[k] < c.box_min[k] - tolerance || p[k] > c.box_max[k] + tolerance) return false;
    }
    return true;
}

}  // namespace

TEST(PhysicsConvexCollision, HullPairsAgreeWithTheGeometricReference) {
    // Face normals are stored in floats, so axes from them are good to about 1e-7.
    constexpr double kFloatAxis = 1e-6;
    const ConvexMeshCollider shapes[3] = {Cube(), Slab(), Wing()};
    const char* names[3] = {"cube", "slab", "wing"};
    std::mt19937_64 rng(42);
    for (int ia = 0; ia < 3; ++ia) {
        for (int ib = 0; ib < 3; ++ib) {
            int hits = 0, misses = 0, shallow = 0;
            for (int trial = 0; trial < 400; ++trial) {
                ConvexMeshCollider a = shapes[ia], b = shapes[ib];
                const double spread = 0.6 * (a.radius + b.radius);
                a.transform = RandomPose(rng, spread);
                b.transform = RandomPose(rng, 0.2);
                const Hull ha = Place(a), hb = Place(b);
                const double reference = MinOverlap(ha, hb);
                if (std::abs(reference) < 1e-6) continue;  // touching: either answer is right
                const Collision c = ConvexCollision(a, b);
                SCOPED_TRACE(::testing::Message() << names[ia] << " against " << names[ib] << ", trial " << trial);
                ASSERT_EQ(c.depth > 0, reference > 0);
                if (c.depth <= 0) {
                    ++misses;
                    continue;
                }
                ++hits;
                ASSERT_NEAR(glm::length(c.normal), 1.0, 1e-9);
                // Depth: the overlap along the normal (b towards a); no complete axis overlaps less.
                EXPECT_NEAR(Overlap(ha, hb, c.normal), c.depth, 1e-9);
                EXPECT_LE(c.depth, reference + kFloatAxis);
                EXPECT_GE(glm::dot(c.normal, CentreOf(a) - CentreOf(b)), 0.0);
                if (reference < 0.05) {
                    ++shallow;
                    EXPECT_NEAR(c.depth, reference, kFloatAxis);
                }
                EXPECT_TRUE(InsideBox(a.radius > b.radius ? b : a, c.position, 1e-9));
            }
            EXPECT_GT(hits, 50) << names[ia] << " against " << names[ib];
            EXPECT_GT(misses, 50) << names[ia] << " against " << names[ib];
            EXPECT_GT(shallow, 0) << names[ia] << " against " << names[ib];
        }
    }
}

TEST(PhysicsConvexCollision, KeepsTheOrderOfALiteralReading) {
    // Bit for bit at every vector width: exact ties from axis-aligned poses, random poses for the
    // rest; boxes and hulls of 4 to 7 vertices, whose unused vertex lanes must count for nothing.
    std::vector<ConvexMeshCollider> hulls = {Cube(), Slab(), Wing()};
    for (const ConvexMeshCollider& h : SmallHulls()) hulls.push_back(h);
    std::vector<ConvexMeshCollider> shapes = hulls;
    shapes.push_back(Sphere());
    for (int bits : {128, 256, 512}) {
        const int width = game::physics::LimitVectorWidth(bits);
        SCOPED_TRACE(::testing::Message() << "vectors of " << width << " bits");
        std::mt19937_64 rng(3);
        std::uniform_int_distribution<int> step(-4, 4);
        int compared = 0;
        for (int trial = 0; trial < 3200; ++trial) {
            ConvexMeshCollider a = shapes[trial % shapes.size()], b = hulls[(trial / shapes.size()) % hulls.size()];
            if (trial % 2) {
                a.transform = glm::translate(glm::dmat4(1.0), 0.25 * glm::dvec3(step(rng), step(rng), step(rng)));
                if (trial % 3 == 0) a.transform = a.transform * QuarterTurn(trial % 5);
            } else {
                a.transform = RandomPose(rng, 0.6 * (a.radius + b.radius));
                b.transform = RandomPose(rng, 0.2);
            }
            const Collision fast = ConvexCollision(a, b);
            ASSERT_TRUE(SameAsReference(fast, a, b)) << "trial " << trial;
            compared += fast.depth > 0;
        }
        EXPECT_GT(compared, 1000);
    }
    game::physics::LimitVectorWidth(512);
}

TEST(PhysicsConvexCollision, ShapesPlacedOnceForManyTestsGiveWhatEachTestGivesAlone) {
    // Runs of tests of one placed shape against shapes placed for the run, in either place, and
    // against many others, among them more distinct boxes than the shape table holds, so that the
    // placed shapes' facts are pushed out during the run; then the first shape changes and is
    // placed anew.
    const ConvexMeshCollider shapes[4] = {Cube(), Slab(), Wing(), Sphere()};
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<float> size(0.2f, 1.2f);
    int hits = 0;
    for (int run = 0; run < 24; ++run) {
        ConvexMeshCollider a = shapes[run % 3 ? 2 : run / 3 % 4];  // mostly the wing, whose edges no box shares
        a.transform = RandomPose(rng, 0.3);
        game::physics::PlacedShape placed(a, a.transform);
        std::vector<ConvexMeshCollider> kept(shapes, shapes + 3);
        std::vector<game::physics::PlacedShape> keptPlaced;
        for (ConvexMeshCollider& k : kept) {
            k.transform = RandomPose(rng, 0.8 * (a.radius + k.radius));
            keptPlaced.emplace_back(k, k.transform);
        }
        for (int test = 0; test < 120; ++test) {
            SCOPED_TRACE(::testing::Message() << "run " << run << " test " << test);
            const size_t k = test / 3 % kept.size();
            if (test % 3 == 0) {
                const Collision once = ConvexCollision(placed, keptPlaced[k]);
                ASSERT_TRUE(Same(once, ConvexCollision(a, kept[k])));
                ASSERT_TRUE(Same(ConvexCollision(keptPlaced[k], placed), ConvexCollision(kept[k], a)));
                hits += once.depth > 0;
            } else {
                ConvexMeshCollider b = shapes[test % 3];
                if (test % 4) b.SetBox(-glm::vec3(size(rng), size(rng), size(rng)), glm::vec3(size(rng), size(rng), size(rng)));
                b.transform = RandomPose(rng, 0.8 * (a.radius + b.radius));
                const Collision once = ConvexCollision(placed, b, b.transform);
                ASSERT_TRUE(Same(once, ConvexCollision(a, b)));
                hits += once.depth > 0;
            }
            if (test == 60) {
                a.SetBox(-glm::vec3(size(rng), size(rng), size(rng)), glm::vec3(size(rng), size(rng), size(rng)));
                a.isSphere = run % 5 == 4;
                placed.Forget();
            }
            if (test == 90) {
                a.transform = RandomPose(rng, 0.3);
                placed.Place(a, a.transform);
            }
        }
    }
    EXPECT_GT(hits, 500);
}

TEST(PhysicsConvexCollision, GrazingContactsAgreeWithTheLiteralReading) {
    // Faces, edges and corners within a few units of rounding of touching, far from the origin.
    const ConvexMeshCollider shapes[2] = {Cube(), Slab()};
    const double ulp = std::ldexp(1000.0, -52);
    const double hairs[] = {-1e-6, -1e-10, -16 * ulp, -4 * ulp, -ulp, 0.0, ulp, 4 * ulp, 16 * ulp, 1e-10, 1e-6};
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> tilt(-1e-7, 1e-7);
    int hits = 0, misses = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        ConvexMeshCollider a = shapes[trial % 2], b = shapes[(trial / 2) % 2];
        const glm::dvec3 direction = trial % 3 == 0   ? glm::dvec3(1, 0, 0)
                                     : trial % 3 == 1 ? glm::normalize(glm::dvec3(1, 1, 0))
                                                      : glm::normalize(glm::dvec3(1, 1, 1));
        double reach = 0;
        for (int k = 0; k < 3; ++k) {
            reach += std::abs(direction[k]) * (0.5 * (a.box_max[k] - a.box_min[k]) + 0.5 * (b.box_max[k] - b.box_min[k]));
        }
        const double hair = hairs[trial % std::size(hairs)];
        glm::dmat4 turn(1.0);
        if (trial % 4 >= 2) turn = glm::mat4_cast(glm::angleAxis(tilt(rng), glm::normalize(glm::dvec3(1, 2, 3))));
        const glm::dvec3 away(1000.25, -700.5, 300.125);
        a.transform = glm::translate(glm::dmat4(1.0), away + direction * (reach + hair)) * turn;
        b.transform = glm::translate(glm::dmat4(1.0), away);
        for (int bits : {128, 512}) {
            game::physics::LimitVectorWidth(bits);
            const Collision fast = ConvexCollision(a, b);
            ASSERT_TRUE(SameAsReference(fast, a, b)) << "trial " << trial << ", " << bits << " bits";
            (fast.depth > 0 ? hits : misses) += 1;
        }
    }
    game::physics::LimitVectorWidth(512);
    EXPECT_GT(hits, 100);
    EXPECT_GT(misses, 100);
}

TEST(PhysicsConvexCollision, NearTiesOfFaceAndEdgeAxesAgreeWithTheLiteralReading) {
    // Boxes all but aligned, of several sizes, near and far from the origin: many edge axes come
    // within a few units of rounding of the least face overlap, where only the exact test may
    // choose between them.
    std::mt19937_64 rng(29);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const double tilts[] = {0.0, 1e-12, 1e-9, 1e-7, 1e-5, 1e-3};
    int hits = 0, edgeWins = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        const double size = std::pow(10.0, trial % 10 - 5);  // 10 um to 10 km
        auto box = [&] {
            // Parentheses, not braces: the two draws keep the order the seeded trials were made in.
            return Box(glm::vec3(float(size * (0.5 + 0.5 * std::abs(unit(rng)))), float(size * 0.5),
                                 float(size * (0.5 + 0.5 * std::abs(unit(rng))))));
        };
        ConvexMeshCollider a = box(), b = box();
        auto turn = [&] {
            const glm::dvec3 axis = glm::normalize(glm::dvec3(unit(rng), unit(rng), unit(rng)));
            return glm::mat4_cast(glm::angleAxis(tilts[trial % 6] * unit(rng), axis));
        };
        const glm::dvec3 reach = 0.5 * (glm::dvec3(a.box_max - a.box_min) + glm::dvec3(b.box_max - b.box_min));
        const glm::dvec3 offset = reach * glm::dvec3(1.01 * unit(rng), 1.01 * unit(rng), 1.01 * unit(rng));
        const glm::dvec3 away = trial % 2 ? glm::dvec3(0.0) : size * glm::dvec3(1000.25, -700.5, 300.125);
        a.transform = glm::translate(glm::dmat4(1.0), away + offset) * turn();
        b.transform = glm::translate(glm::dmat4(1.0), away) * turn();
        Collision fast;
        for (int bits : {128, 256, 512}) {
            game::physics::LimitVectorWidth(bits);
            fast = ConvexCollision(a, b);
            ASSERT_TRUE(SameAsReference(fast, a, b)) << "trial " << trial << ", " << bits << " bits";
        }
        hits += fast.depth > 0;
        // An edge axis won: the normal is none of the six face normals.
        const glm::dmat3 ra(a.transform), rb(b.transform);
        bool face = false;
        for (int k = 0; k < 3; ++k) {
            face = face || std::abs(std::abs(glm::dot(fast.normal, glm::normalize(ra[k]))) - 1) < 1e-15 ||
                   std::abs(std::abs(glm::dot(fast.normal, glm::normalize(rb[k]))) - 1) < 1e-15;
        }
        edgeWins += fast.depth > 0 && !face;
    }
    game::physics::LimitVectorWidth(512);
    EXPECT_GT(hits, 1000);
    EXPECT_GT(edgeWins, 10);
}

TEST(PhysicsConvexCollision, DegenerateCases) {
    // Coincident centres: the orientation is undefined and the normal is zero, without a crash.
    ConvexMeshCollider a = Cube(), b = Cube();
    Collision c = ConvexCollision(a, b);
    EXPECT_DOUBLE_EQ(c.depth, 1.0);
    EXPECT_EQ(c.normal, glm::dvec3(0.0));
    EXPECT_TRUE(std::isfinite(c.position.x));

    // Shapes without axes (no normals, no vertices) overlap by the greatest double.
    ConvexMeshCollider empty;
    empty.radius = 1;
    c = ConvexCollision(empty, empty);
    EXPECT_EQ(c.depth, std::numeric_limits<double>::max());
}

// A collider is a value: a copy has its own name and its own callback, state and all.
TEST(PhysicsConvexCollision, CollidersCopyTheirNameAndCallback) {
    ConvexMeshCollider original = Cube();
    original.name = "a collider name far too long for any small-string buffer";
    int lastCount = 0;
    original.callback = [count = 0, &lastCount](game::physics::RigidbodyBase*, ConvexMeshCollider*,
                                                ConvexMeshCollider*, Collision&, double) mutable {
        lastCount = ++count;
        return true;
    };
    ConvexMeshCollider copy = original;
    Collision c;
    copy.callback(nullptr, &copy, nullptr, c, 0.1);
    copy.callback(nullptr, &copy, nullptr, c, 0.1);
    EXPECT_EQ(lastCount, 2);
    original.callback(nullptr, &original, nullptr, c, 0.1);
    EXPECT_EQ(lastCount, 1);  // the original counts its own calls
    copy.name += " of the copy";
    EXPECT_EQ(original.name, "a collider name far too long for any small-string buffer");
}

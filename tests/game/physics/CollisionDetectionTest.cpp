// A dynamic body walking its candidates (resting, sliding, meeting another body, callbacks,
// containers, the bookkeeping for parents), and its response to one contact against hand-worked
// mechanics.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <tuple>
#include <vector>

#include "game/physics/PhysicsTestEntity.h"

using game::entity::ConvexMeshCollider;
using game::physics::Collision;
using game::physics::DynamicRigidbody;
using game::physics::Rigidbody;
using game::physics::RigidbodyBase;
using physics_test::ExpectNear;
using physics_test::MakeBoxEntity;
using physics_test::MakeCube;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;
using Fixed = Rigidbody<PhysicsTestEntity>;

namespace {

// One box over a fixed ground in a vacuum: gravity only, and the world's own ground far below.
struct GroundScene : physics_test::Scene {
    GroundScene() {
        ground = MakeBoxEntity({20, 20, 0.5}, 1000, {0, 0, -0.5});
        entity = MakeCube(10, {0, 0, 0.5});
        world.airDensity = world.airViscosity = 0;
    }
};

// A box sliding at 3 m/s without friction slides on; friction 1 stops it, also when a callback
// raises the friction of the colliders it is handed, against a fixed body and the environment's
// ground alike.
TEST(PhysicsContact, FrictionStopsASlidingBoxAndCallbacksCanSetIt) {
    enum Case { kSmooth, kRough, kCallbackOnFixed, kCallbackOnGround };
    for (Case c : {kSmooth, kRough, kCallbackOnFixed, kCallbackOnGround}) {
        SCOPED_TRACE(c);
        GroundScene scene;
        const double friction = c == kRough ? 1 : 0;
        scene.entity->colliders["hull"].friction = friction;
        scene.ground->colliders["hull"].friction = friction;
        if (c == kCallbackOnGround) {
            scene.world.groundHeight = 0;
            scene.ground->position.z = -100;
        }
        int calls = 0;
        if (c >= kCallbackOnFixed) {
            scene.entity->colliders["hull"].callback = [&calls](RigidbodyBase*, ConvexMeshCollider* self,
                                                             ConvexMeshCollider* other, Collision&, double) {
                ++calls;
                self->friction = 1;
                if (other) other->friction = 1;
                return true;
            };
        }
        scene.entity->position.z = 0.5 + 1e-3;
        scene.entity->velocity = {3, 0, 0};
        for (int frame = 0; frame < 120; ++frame) scene.Frame();
        EXPECT_EQ(calls > 0, c >= kCallbackOnFixed);
        if (c == kSmooth) {
            EXPECT_NEAR(scene.entity->velocity.x, 3, 0.01);
            EXPECT_NEAR(scene.entity->position.x, 3 * 2, 0.1);
        } else {
            EXPECT_LT(std::abs(scene.entity->velocity.x), 0.1);
        }
    }
}

// A box pressed past the middle of a slab thinner than itself (as the boxes piled on it can
// press it) is pushed back out on the side where it began the frame, not on through the slab.
TEST(PhysicsContact, ABoxPressedPastTheMiddleOfAThinSlabComesBackOnItsSide) {
    auto slab = MakeBoxEntity({5, 5, 0.25}, 1000, {0, 0, -0.25});  // top at 0, middle at -0.25
    for (double pressedTo : {-0.3, -0.6}) {
        SCOPED_TRACE(pressedTo);
        auto box = MakeCube(10, {0.3, 0.1, 0.5});  // resting on the slab when the frame begins
        Fixed fixed(slab);
        Body body(box, 1.0 / 60);
        body.fixedCandidates.push_back(&fixed);
        body.position.z = pressedTo;
        body.CollisionDetection(1.0 / 240);
        EXPECT_NEAR(body.position.z, 0.5, 1e-9);
    }
}

// Records what a contact callback saw.
struct Seen {
    int calls = 0;
    RigidbodyBase* body = nullptr;
    glm::dvec3 normal{0.0};
    glm::dvec3 position{0.0};
};

ConvexMeshCollider::Callback Recorder(Seen& seen, bool cancel = false, bool holds = true) {
    return [&seen, cancel, holds](RigidbodyBase* body, ConvexMeshCollider*, ConvexMeshCollider*, Collision& c, double) {
        ++seen.calls;
        seen.body = body;
        seen.normal = c.normal;
        seen.position = c.position;
        if (cancel) c.depth = 0;
        return holds;
    };
}

}  // namespace

TEST(PhysicsContact, DynamicPairMeetsWithCallbacksInOrder) {
    auto ea = MakeCube(2, {}, {4, 0, 0}), eb = MakeCube(6, {0.95, 0.1, 0}, {-1, 0, 0});
    Seen seenA, seenB;
    ea->colliders["hull"].callback = Recorder(seenA);
    eb->colliders["hull"].callback = Recorder(seenB);
    Body a(ea, 0.01), b(eb, 0.01);
    a.dynamicCandidates.push_back(&b);
    a.CollisionDetection(0.01);

    // Each callback gets its own body and a normal pointing towards that body.
    EXPECT_EQ(std::tuple(seenA.calls, seenA.body, seenB.calls, seenB.body), std::tuple(1, &a, 1, &b));
    EXPECT_NEAR(seenA.normal.x, -1, 1e-12);
    EXPECT_NEAR(seenB.normal.x, 1, 1e-12);
    // The response ran (its mechanics are checked under PhysicsResponse): momentum kept, pushed apart.
    EXPECT_NEAR(2 * a.velocity.x + 6 * b.velocity.x, 2 * 4 - 6, 1e-12);
    EXPECT_GT(b.position.x - a.position.x, 0.95);

    // A callback that cancels the depth cancels the response.
    Seen cancelled;
    ea->colliders["hull"].callback = Recorder(cancelled, true);
    Body c(ea, 0.01), d(eb, 0.01);
    c.dynamicCandidates.push_back(&d);
    c.CollisionDetection(0.01);
    EXPECT_EQ(cancelled.calls, 1);
    EXPECT_EQ(c.velocity, glm::dvec3(4, 0, 0));
    EXPECT_EQ(d.position, glm::dvec3(0.95, 0.1, 0));
}

// A callback may move the other body's collider; the bodies tested after it meet the collider
// where it now is, though neither body moved.
TEST(PhysicsContact, AColliderMovedByACallbackIsMetWhereItNowIs) {
    auto ea = MakeCube(1), eb = MakeCube(1, {0.9, 0, 0}), ec = MakeCube(1, {0.9, 5.9, 0});
    ea->colliders["hull"].callback = [](RigidbodyBase*, ConvexMeshCollider*, ConvexMeshCollider* other,
                                        Collision& c, double) {
        other->transform[3].y += 5;
        c.depth = 0;
        return true;
    };
    Seen seen;
    ec->colliders["hull"].callback = Recorder(seen, true);
    Body a(ea, 0.01), b(eb, 0.01), c(ec, 0.01);
    a.dynamicCandidates.push_back(&b);
    c.dynamicCandidates.push_back(&b);
    c.CollisionDetection(0.01);
    EXPECT_EQ(seen.calls, 0);
    a.CollisionDetection(0.01);
    EXPECT_EQ(b.position, glm::dvec3(0.9, 0, 0));
    c.CollisionDetection(0.01);
    EXPECT_EQ(seen.calls, 1);
}

// A copy of a body places its own colliders, even once the body it was copied from is gone.
TEST(PhysicsContact, ACopiedBodyPlacesItsOwnColliders) {
    auto ea = MakeCube(1), eb = MakeCube(1, {0.9, 0, 0});
    Seen seen;
    ea->colliders["hull"].callback = Recorder(seen, true);
    Body a(ea, 0.01);
    std::optional<Body> copy;
    {
        Body b(eb, 0.01);
        b.GetPlacedShape(0);
        copy.emplace(b);
    }
    a.dynamicCandidates.push_back(&*copy);
    a.CollisionDetection(0.01);
    EXPECT_EQ(seen.calls, 1);
}

// 1.2 apart only a sphere around either box reaches the other: another moving body's sphere is tested
// as the sphere, with the normal towards this body; a fixed body's sphere as its box.
TEST(PhysicsContact, SpheresAreSpheresOnlyAsTheFirstShape) {
    auto ea = MakeCube(1), eb = MakeCube(1, {1.2, 0, 0});
    eb->colliders["hull"].isSphere = true;
    Seen seen;
    ea->colliders["hull"].callback = Recorder(seen, true);
    Body a(ea, 0.01), b(eb, 0.01);
    a.dynamicCandidates.push_back(&b);
    a.CollisionDetection(0.01);
    ASSERT_EQ(seen.calls, 1);
    EXPECT_NEAR(seen.normal.x, -1, 1e-12);

    auto ground = MakeCube(100);
    ground->colliders["hull"].isSphere = true;
    auto box = MakeCube(1, {1.2, 0, 0});
    Fixed fixed(ground);
    Body body(box, 0.01);
    body.fixedCandidates.push_back(&fixed);
    body.CollisionDetection(0.01);
    EXPECT_EQ(body.position, glm::dvec3(1.2, 0, 0));
    box->colliders["hull"].isSphere = true;
    Body sphere(box, 0.01);
    sphere.fixedCandidates.push_back(&fixed);
    sphere.CollisionDetection(0.01);
    EXPECT_NEAR(sphere.position.x, 1.2 + (std::sqrt(0.75) - 0.7), 1e-12);
}

TEST(PhysicsContact, ContainersAreTestedThroughTheirChildren) {
    auto ground = MakeBoxEntity({5, 5, 1}, 100, {0, 0, -1});
    ConvexMeshCollider& container = ground->colliders["hull"];
    container.fill = 0.5;
    ConvexMeshCollider post, flat;
    post.SetBox({-0.25f, -0.25f, -1}, {0.25f, 0.25f, 1});
    post.transform = glm::translate(glm::dmat4(1.0), glm::dvec3(2, 0, 0));
    flat.SetBox({-5, -5, -0.6f}, {5, 5, -0.4f});  // would be hit everywhere...
    flat.box_max.x = flat.box_min.x;              // ...but an empty box in x leaves it out
    container.children->push_back(post);
    container.children->push_back(flat);

    auto hover = [&](glm::dvec3 where) {
        auto e = MakeCube(1, where);
        Body body(e, 0.01);
        Fixed fixed(ground);
        body.fixedCandidates.push_back(&fixed);
        body.CollisionDetection(0.01);
        return body;
    };
    // Away from the post nothing is hit; against it the box is pushed out and the ground touched.
    Body free = hover({-2, 0, -0.5});
    EXPECT_EQ(free.position, glm::dvec3(-2, 0, -0.5));
    EXPECT_TRUE(free.staticRelativeContactPoints.empty());
    Body hit = hover({2.6, 0, -0.5});
    EXPECT_GT(hit.position.x, 2.6);
    EXPECT_FALSE(hit.staticRelativeContactPoints.empty());
    EXPECT_EQ(hit.potentialNewParent.lock(), ground);
}

TEST(PhysicsContact, RemembersTheLargestTouchedBodyAndTheParent) {
    auto small = MakeBoxEntity({1, 1, 0.5}, 10, {0, 0, -0.505});
    auto large = MakeBoxEntity({8, 8, 0.5}, 10, {0, 0, -0.5});
    auto box = MakeCube(1, {0, 0, 0.49});
    Fixed smallBody(small), largeBody(large);
    Body body(box, 0.01);
    body.fixedCandidates = {&smallBody, &largeBody};
    body.CollisionDetection(0.01);
    EXPECT_EQ(body.potentialNewParent.lock(), large);
    EXPECT_DOUBLE_EQ(body.largestTouchedRadius, largeBody.radius);
    EXPECT_FALSE(body.touchingParent);

    // The parent's colliders are placed in the parent's own frame.
    auto parent = MakeBoxEntity({3, 3, 0.5}, 10, {1, 0, -0.5});
    parent->position = {50, 0, 0};  // its pose in its own frame doesn't matter
    Fixed parentBody(parent);
    Body child(box, 0.01);
    child.parentBody = &parentBody;
    child.CollisionDetection(0.01);
    EXPECT_TRUE(child.touchingParent);
    EXPECT_GT(child.position.z, 0.49);
}

TEST(PhysicsContact, CountsARestingStepOnlyWhenSlowOnHoldingContacts) {
    auto rest = [](glm::dvec3 velocity, glm::dvec3 spin, bool holding) {
        auto e = MakeCube(1, {}, velocity);
        e->angularVelocity = spin;
        Body body(e, 0.01);
        for (glm::dvec3 p : {glm::dvec3(-0.5, -0.5, -0.5), glm::dvec3(0.5, -0.5, -0.5), glm::dvec3(0, 0.5, -0.5)}) {
            body.AddStaticContactPoint({0, 0, 1}, holding ? p : p + glm::dvec3(2, 0, 0));
        }
        body.CollisionDetection(0.01);
        return body.restCount;
    };
    // No contact lowered the friction bound from 1: sliding and spin must stay below it.
    EXPECT_EQ(rest({0.5, 0, 0}, {0, 0, 0.5}, true), 1);
    EXPECT_EQ(rest({0.5, 0, 0.9}, {0, 0, 0}, true), 1);  // the normal part doesn't count
    EXPECT_EQ(rest({1.5, 0, 0}, {0, 0, 0}, true), 0);
    EXPECT_EQ(rest({0, 0, 0}, {1.5, 0, 0}, true), 0);
    EXPECT_EQ(rest({0, 0, 0}, {0, 0, 0}, false), 0);
}

namespace {

Body BoxBody(double mass, const glm::dvec3& position, const glm::dvec3& velocity) {
    auto e = MakeCube(mass, position, velocity);
    return Body(e, 0.01);
}

}  // namespace

TEST(PhysicsResponse, HeadOnBodiesStickTogether) {
    Body a = BoxBody(2, {0, 0, 0}, {4, 0, 0});
    Body b = BoxBody(6, {0.9, 0, 0}, {-1, 0, 0});
    // Contact on the line of centres, normal from b towards a.
    Body::RespondToCollision(&a, &b, Collision{{0.45, 0, 0}, {-1, 0, 0}, 0.1}, 0.5);
    // Perfectly inelastic: common velocity (8 - 6) / 8.
    ExpectNear(a.velocity, {0.25, 0, 0});
    ExpectNear(b.velocity, {0.25, 0, 0});
    ExpectNear(a.angularVelocity, {0, 0, 0});
    // The depth is shared in proportion to the inverse masses: 3/4 to a, 1/4 to b.
    ExpectNear(a.position, {-0.075, 0, 0});
    ExpectNear(b.position, {0.925, 0, 0});
}

TEST(PhysicsResponse, OffCentreBodiesConserveMomentumAndStopApproaching) {
    Body a = BoxBody(1, {0, 0, 0}, {2, 0.5, 0});
    Body b = BoxBody(3, {0.95, 0.4, 0.2}, {-1, 0, 0.3});
    a.angularVelocity = {0, 0, 1};
    const glm::dvec3 point(0.48, 0.3, 0.1);
    const Collision contact{point, {-1, 0, 0}, 0.05};
    const glm::dvec3 momentum = a.velocity * 1.0 + b.velocity * 3.0;
    Body::RespondToCollision(&a, &b, contact, 0);
    ExpectNear(a.velocity * 1.0 + b.velocity * 3.0, momentum);
    // The contact points' normal velocities agree, arms taken from the positions before separation.
    const glm::dvec3 ra = point - glm::dvec3(0, 0, 0), rb = point - glm::dvec3(0.95, 0.4, 0.2);
    const glm::dvec3 va = a.velocity + glm::cross(a.angularVelocity, ra);
    const glm::dvec3 vb = b.velocity + glm::cross(b.angularVelocity, rb);
    EXPECT_NEAR(glm::dot(va - vb, contact.normal), 0.0, 1e-12);
}

TEST(PhysicsResponse, FixedContactRemovesNormalVelocityAndAShareOfSliding) {
    const Collision below{{0, 0, -0.5}, {0, 0, 1}, 0.02};
    // Without friction the sliding stays and the body is lifted by the whole depth.
    Body body = BoxBody(2, {0, 0, 0}, {2, 0, -3});
    body.RespondToCollision(nullptr, below, 0);
    ExpectNear(body.velocity, {2, 0, 0});
    ExpectNear(body.angularVelocity, {0, 0, 0});
    ExpectNear(body.position, {0, 0, 0.02});

    // Friction f removes f of the sliding at the contact; the rest of the change is spin.
    for (double f : {0.5, 1.0}) {
        Body sliding = BoxBody(2, {0, 0, 0}, {2, 0, -3});
        sliding.RespondToCollision(nullptr, below, f);
        const glm::dvec3 atContact = sliding.velocity + glm::cross(sliding.angularVelocity, glm::dvec3(0, 0, -0.5));
        ExpectNear(atContact, {(1 - f) * 2, 0, 0});
        EXPECT_NEAR(sliding.angularVelocity.y, -(sliding.velocity.x - 2) * 2 * 0.5 / (2.0 / 12 * 2), 1e-12);
    }

    // A separating contact is pulled back: the normal velocity becomes zero either way.
    Body leaving = BoxBody(2, {0, 0, 0}, {0, 0, 1});
    leaving.RespondToCollision(nullptr, below, 0.2);
    ExpectNear(leaving.velocity, {0, 0, 0});

    // Sliding of 1e-6 or less gets no friction.
    Body creeping = BoxBody(2, {0, 0, 0}, {1e-6, 0, -1});
    creeping.RespondToCollision(nullptr, below, 1.0);
    EXPECT_EQ(creeping.velocity.x, 1e-6);
    EXPECT_EQ(creeping.angularVelocity, glm::dvec3(0.0));
}

TEST(PhysicsResponse, ContactPointsCloserThanATenthAreDropped) {
    Body body = BoxBody(1, {5, 0, 0}, {0, 0, 0});
    body.AddStaticContactPoint({0, 0, 1}, {5, 0, -0.5});
    body.AddStaticContactPoint({0, 0, 1}, {5.09, 0, -0.5});
    body.AddStaticContactPoint({0, 0, 1}, {5, 0.125, -0.5});
    ASSERT_EQ(body.staticRelativeContactPoints.size(), 2u);
    ExpectNear(body.staticRelativeContactPoints[0], {0, 0, -0.5});
    ExpectNear(body.staticRelativeContactPoints[1], {0, 0.125, -0.5});
}

TEST(PhysicsResponse, StaticContactNeedsTheCentreOfMassOverTheContacts) {
    using Points = std::vector<glm::dvec3>;
    const Points around = {{-1, -1, -0.5}, {1, -1, -0.5}, {0, 1, -0.5}};
    const Points wide = {{2, 2, -0.5}, {-2, 2, -0.5}, {-2, -2, -0.5}, {2, -2.5, -0.5}};
    struct Case {
        const char* what;
        Points points;
        bool firstLeans, holds;
    };
    for (const Case& c : {Case{"three around the centre", around, false, true},
                          Case{"two are not enough", {around[0], around[1]}, false, false},
                          Case{"over the edge", {{1, 1, -0.5}, {2, 1, -0.5}, {1, 2, -0.5}}, false, false},
                          Case{"one leaning by more than 45 degrees", around, true, false},
                          Case{"the newest triangle misses the centre, all four surround it", wide, false, true},
                          Case{"... unless an older one leans", wide, true, false}}) {
        SCOPED_TRACE(c.what);
        Body body = BoxBody(1, {0, 0, 0}, {0, 0, 0});
        body.staticRelativeContactPoints = c.points;
        body.staticContactNormals.assign(c.points.size(), {0, 0, 1});
        if (c.firstLeans) body.staticContactNormals[0] = glm::normalize(glm::dvec3(1, 0, 0.9));
        glm::dvec3 n(0.0);
        EXPECT_EQ(body.GetStaticContact(n), c.holds);
        if (c.holds) ExpectNear(n, {0, 0, 1});
    }
}

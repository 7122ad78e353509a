// A dynamic body walking its candidates: resting, sliding, meeting another body, callbacks,
// containers and the bookkeeping for parents.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <vector>

#include "game/physics/Rigidbody.h"
#include "game/physics/EnvironmentWorld.h"
#include "game/physics/PhysicsTestEntity.h"

using game::entity::ConvexMeshCollider;
using game::physics::Collision;
using game::physics::DynamicRigidbody;
using game::physics::Rigidbody;
using game::physics::RigidbodyBase;
using physics_test::MakeBoxEntity;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;
using Fixed = Rigidbody<PhysicsTestEntity>;

namespace {

// One box over a fixed ground in a vacuum, frame by frame as the physics step runs it.
struct GroundScene {
    physics_test::EnvironmentWorld world;  // gravity only: no medium, its own ground far below
    std::shared_ptr<PhysicsTestEntity> ground = MakeBoxEntity({20, 20, 0.5}, 1000, {0, 0, -0.5});
    std::shared_ptr<PhysicsTestEntity> box = MakeBoxEntity({0.5, 0.5, 0.5}, 10);

    GroundScene() {
        box->position = {0, 0, 0.5};
        world.airDensity = world.airViscosity = 0;
    }

    void Frame(double dt = 1.0 / 60, int substeps = 4) {
        Fixed fixed(ground);
        Body body(box, dt);
        const auto function = world.Function();
        const bool topLevel = box->parentEntity.IsNull();
        if (topLevel) {
            body.fixedCandidates.push_back(&fixed);
            body.TakeEnvironmentGravity(function);
        } else {
            // Once the box has joined the ground it lives in the ground's frame, whose acceleration
            // is what the resting ground feels: the step gives it the environment's gravity.
            body.parentBody = &fixed;
            body.frameAcceleration = world.gravity;
        }
        for (int i = 0; i < substeps; ++i) {
            body.IntegrateMotion(dt / substeps);
            body.CollisionDetection(dt / substeps);
            if (topLevel) body.InteractWithEnvironment(function, dt / substeps);
        }
        if (!topLevel) body.InteractWithEnvironmentFromParent(ground->GetTransform(), function, dt);
        body.ApplyToEntity(dt);
    }
};

// A callback that raises the friction of the colliders it is handed makes the response obey it,
// against a fixed body and against the environment's ground alike.
TEST(PhysicsContact, FrictionSetByACallbackIsObeyed) {
    for (bool environmentGround : {false, true}) {
        SCOPED_TRACE(environmentGround ? "environment's ground" : "fixed body");
        GroundScene scene;
        scene.box->colliders["hull"].friction = 0;
        scene.ground->colliders["hull"].friction = 0;
        if (environmentGround) {
            scene.world.groundHeight = 0;
            scene.ground->position.z = -100;
        }
        int calls = 0;
        scene.box->colliders["hull"].callback = [&calls](RigidbodyBase*, ConvexMeshCollider* self,
                                                         ConvexMeshCollider* other, Collision&, double) {
            ++calls;
            self->friction = 1;
            if (other) other->friction = 1;
            return true;
        };
        scene.box->position.z = 0.5 + 1e-3;
        scene.box->velocity = {3, 0, 0};
        for (int frame = 0; frame < 120; ++frame) scene.Frame();
        EXPECT_GT(calls, 0);
        EXPECT_LT(std::abs(scene.box->velocity.x), 0.1);
    }
}

// A box pressed past the middle of a slab thinner than itself (as the boxes piled on it can
// press it) is pushed back out on the side where it began the frame, not on through the slab.
TEST(PhysicsContact, ABoxPressedPastTheMiddleOfAThinSlabComesBackOnItsSide) {
    auto slab = MakeBoxEntity({5, 5, 0.25}, 1000, {0, 0, -0.25});  // top at 0, middle at -0.25
    for (double pressedTo : {-0.3, -0.6}) {
        SCOPED_TRACE(pressedTo);
        auto box = MakeBoxEntity({0.5, 0.5, 0.5}, 10);
        box->position = {0.3, 0.1, 0.5};  // resting on the slab when the frame begins
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

TEST(PhysicsContact, FrictionStopsASlidingBox) {
    GroundScene rough, smooth;
    rough.box->colliders["hull"].friction = 1.0;
    rough.ground->colliders["hull"].friction = 1.0;
    smooth.box->colliders["hull"].friction = 0.0;
    for (auto* scene : {&rough, &smooth}) {
        scene->box->position.z = 0.5 + 1e-3;
        scene->box->velocity = {3, 0, 0};
    }
    for (int frame = 0; frame < 120; ++frame) {
        rough.Frame();
        smooth.Frame();
    }
    EXPECT_LT(std::abs(rough.box->velocity.x), 0.05);
    EXPECT_LT(rough.box->position.x, 1.0);
    EXPECT_NEAR(smooth.box->velocity.x, 3, 0.01);
    EXPECT_NEAR(smooth.box->position.x, 3 * 2, 0.1);
}

TEST(PhysicsContact, DynamicPairMeetsWithCallbacksInOrder) {
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 2);
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 6);
    ea->velocity = {4, 0, 0};
    eb->position = {0.95, 0.1, 0};
    eb->velocity = {-1, 0, 0};
    Seen seenA, seenB;
    ea->colliders["hull"].callback = Recorder(seenA);
    eb->colliders["hull"].callback = Recorder(seenB);
    Body a(ea, 0.01), b(eb, 0.01);
    a.dynamicCandidates.push_back(&b);
    a.CollisionDetection(0.01);

    // Each callback gets its own body and a normal pointing towards that body.
    EXPECT_EQ(seenA.calls, 1);
    EXPECT_EQ(seenB.calls, 1);
    EXPECT_EQ(seenA.body, &a);
    EXPECT_EQ(seenB.body, &b);
    EXPECT_NEAR(seenA.normal.x, -1, 1e-12);
    EXPECT_NEAR(seenB.normal.x, 1, 1e-12);
    // Momentum is kept and the bodies no longer approach along the normal.
    EXPECT_NEAR(2 * a.velocity.x + 6 * b.velocity.x, 2 * 4 - 6, 1e-12);
    EXPECT_NEAR(2 * a.velocity.y + 6 * b.velocity.y, 0, 1e-12);
    EXPECT_GT(b.position.x - a.position.x, 0.95);
    const glm::dvec3 ra = seenA.position, rb = seenA.position - glm::dvec3(0.95, 0.1, 0);
    const glm::dvec3 relative = a.velocity + glm::cross(a.angularVelocity, ra) - b.velocity -
                                glm::cross(b.angularVelocity, rb);
    EXPECT_NEAR(relative.x, 0, 1e-12);
}

TEST(PhysicsContact, ACallbackCancelsTheResponse) {
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 2);
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 6);
    ea->velocity = {4, 0, 0};
    eb->position = {0.95, 0, 0};
    Seen seen;
    ea->colliders["hull"].callback = Recorder(seen, true);
    Body a(ea, 0.01), b(eb, 0.01);
    a.dynamicCandidates.push_back(&b);
    a.CollisionDetection(0.01);
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(a.velocity, glm::dvec3(4, 0, 0));
    EXPECT_EQ(b.position, glm::dvec3(0.95, 0, 0));
}

// A callback may move the other body's collider; the bodies tested after it meet the collider
// where it now is, though neither body moved.
TEST(PhysicsContact, AColliderMovedByACallbackIsMetWhereItNowIs) {
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    auto ec = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    eb->position = {0.9, 0, 0};
    ec->position = {0.9, 5.9, 0};
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
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    eb->position = {0.9, 0, 0};
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
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    eb->colliders["hull"].isSphere = true;
    eb->position = {1.2, 0, 0};
    Seen seen;
    ea->colliders["hull"].callback = Recorder(seen, true);
    Body a(ea, 0.01), b(eb, 0.01);
    a.dynamicCandidates.push_back(&b);
    a.CollisionDetection(0.01);
    ASSERT_EQ(seen.calls, 1);
    EXPECT_NEAR(seen.normal.x, -1, 1e-12);

    auto ground = MakeBoxEntity({0.5, 0.5, 0.5}, 100);
    ground->colliders["hull"].isSphere = true;
    auto box = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    box->position = {1.2, 0, 0};
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

TEST(PhysicsContact, RestingBodyStopsAfterItsFirstColliderDynamicPairs) {
    auto ea = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    ConvexMeshCollider second = ea->colliders["hull"];
    Seen first, later;
    ea->colliders["hull"].callback = Recorder(first, true);
    second.callback = Recorder(later, true);
    ea->colliders["second"] = second;
    auto eb = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    eb->position = {0.9, 0, 0};
    auto ground = MakeBoxEntity({5, 5, 0.5}, 100, {0, 0, -0.9});
    Body a(ea, 0.01), b(eb, 0.01);
    Fixed fixed(ground);
    a.dynamicCandidates.push_back(&b);
    a.fixedCandidates.push_back(&fixed);
    a.restCount = 1;
    a.CollisionDetection(0.01);
    // One collider's dynamic pair ran; the other collider and the ground were never tested.
    EXPECT_EQ(first.calls + later.calls, 1);
    EXPECT_EQ(a.position, glm::dvec3(0.0));
    EXPECT_TRUE(a.staticRelativeContactPoints.empty());
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
        auto e = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
        e->position = where;
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
    auto box = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
    box->position = {0, 0, 0.49};
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
        auto e = MakeBoxEntity({0.5, 0.5, 0.5}, 1);
        e->velocity = velocity;
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

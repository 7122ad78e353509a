// Contact response against hand-worked mechanics, and the contact bookkeeping that decides rest.
#include <gtest/gtest.h>

#include <cmath>

#include "game/physics/Rigidbody.h"
#include "game/physics/PhysicsTestEntity.h"

using game::physics::Collision;
using game::physics::DynamicRigidbody;
using physics_test::MakeBoxEntity;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;

namespace {

void ExpectNear(const glm::dvec3& a, const glm::dvec3& b, double tolerance = 1e-12) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

Body BoxBody(double mass, const glm::dvec3& position, const glm::dvec3& velocity) {
    auto e = MakeBoxEntity({0.5, 0.5, 0.5}, mass);
    e->position = position;
    e->velocity = velocity;
    return Body(e, 0.01);
}

Collision Contact(const glm::dvec3& position, const glm::dvec3& normal, double depth) {
    Collision c;
    c.position = position;
    c.normal = normal;
    c.depth = depth;
    return c;
}

}  // namespace

TEST(PhysicsResponse, HeadOnBodiesStickTogether) {
    Body a = BoxBody(2, {0, 0, 0}, {4, 0, 0});
    Body b = BoxBody(6, {0.9, 0, 0}, {-1, 0, 0});
    // Contact on the line of centres, normal from b towards a.
    Body::RespondToCollision(&a, &b, Contact({0.45, 0, 0}, {-1, 0, 0}, 0.1), 0.5);
    // Perfectly inelastic: common velocity (8 - 6) / 8, loss mu dv^2 / 2 with mu = 2 * 6 / 8, dv = 5.
    ExpectNear(a.velocity, {0.25, 0, 0});
    ExpectNear(b.velocity, {0.25, 0, 0});
    const double before = 0.5 * 2 * 16 + 0.5 * 6 * 1;
    const double after = 0.5 * 2 * glm::dot(a.velocity, a.velocity) + 0.5 * 6 * glm::dot(b.velocity, b.velocity);
    EXPECT_NEAR(before - after, 0.5 * 1.5 * 25, 1e-12);
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
    const Collision contact = Contact(point, {-1, 0, 0}, 0.05);
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
    const Collision below = Contact({0, 0, -0.5}, {0, 0, 1}, 0.02);
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
    EXPECT_EQ(body.staticContactNormals.size(), 2u);
}

TEST(PhysicsResponse, StaticContactNeedsTheCentreOfMassOverTheContacts) {
    auto contacts = [](std::initializer_list<glm::dvec3> points, glm::dvec3 tilted = {0, 0, 1}, size_t tiltedIndex = 99) {
        Body body = BoxBody(1, {0, 0, 0}, {0, 0, 0});
        size_t i = 0;
        for (const glm::dvec3& p : points) {
            body.staticRelativeContactPoints.push_back(p);
            body.staticContactNormals.push_back(i++ == tiltedIndex ? glm::normalize(tilted) : glm::dvec3(0, 0, 1));
        }
        return body;
    };
    glm::dvec3 n;
    // Three contacts around the centre.
    EXPECT_TRUE(contacts({{-1, -1, -0.5}, {1, -1, -0.5}, {0, 1, -0.5}}).GetStaticContact(n));
    ExpectNear(n, {0, 0, 1});
    // Two are not enough.
    EXPECT_FALSE(contacts({{-1, -1, -0.5}, {1, -1, -0.5}}).GetStaticContact(n));
    // The centre hangs over the edge of the triangle.
    EXPECT_FALSE(contacts({{1, 1, -0.5}, {2, 1, -0.5}, {1, 2, -0.5}}).GetStaticContact(n));
    // A contact leaning by more than 45 degrees breaks it.
    EXPECT_FALSE(contacts({{-1, -1, -0.5}, {1, -1, -0.5}, {0, 1, -0.5}}, {1, 0, 0.9}, 0).GetStaticContact(n));
    // Four contacts whose newest triangle misses the centre but which surround it together.
    EXPECT_TRUE(contacts({{2, 2, -0.5}, {-2, 2, -0.5}, {-2, -2, -0.5}, {2, -2.5, -0.5}}).GetStaticContact(n));
    ExpectNear(n, {0, 0, 1});
    // ... unless an older one leans.
    EXPECT_FALSE(
        contacts({{2, 2, -0.5}, {-2, 2, -0.5}, {-2, -2, -0.5}, {2, -2.5, -0.5}}, {1, 0, 0.9}, 0).GetStaticContact(n));
    // Four contacts all on one side.
    EXPECT_FALSE(contacts({{1, 1, -0.5}, {2, 1, -0.5}, {1, 2, -0.5}, {2, 2, -0.5}}).GetStaticContact(n));
}

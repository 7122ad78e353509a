// The joint solver on the sample vehicle and a small arm: moves, clamps, locked joints.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <unordered_map>

#include <glm/ext/matrix_relational.hpp>

#include "TestFiles.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/Joint.h"

using game::entity::EntityConfig;

namespace {

// The joint states and node transforms of an entity, as InitNodes fills them.
struct Instance {
    std::unordered_map<std::string, game::entity::Joint> joints;
    std::unordered_map<std::string, glm::dmat4> nodeTransforms;

    explicit Instance(const EntityConfig& config) {
        for (const auto& [name, node] : config.nodes) nodeTransforms[name] = config.GetAbsoluteTransform(name);
        for (const auto& [name, joint] : config.joints) joints[name] = {joint.linear[1], joint.angular[1]};
    }
    glm::dvec3 Position(const std::string& node) const { return glm::dvec3(nodeTransforms.at(node)[3]); }
};

void ExpectNear(const glm::dvec3& actual, const glm::dvec3& expected) {
    EXPECT_LT(glm::distance(actual, expected), 1e-5) << actual.x << " " << actual.y << " " << actual.z;
}

EntityConfig& Vehicle() {
    static EntityConfig config(std::string(ZENDOLA_SOURCE_DIR) + "/data/models/vehicle.ini");
    static bool read = (config.ReadConfig(), true);
    (void)read;
    return config;
}

}  // namespace

TEST(JointSolver, InitialValuesReproduceTheModel) {
    EntityConfig& config = Vehicle();
    Instance entity(config);
    config.jointSolver(&entity);
    for (const auto& [name, transform] : entity.nodeTransforms)
        EXPECT_TRUE(glm::all(glm::equal(transform, config.GetAbsoluteTransform(name), 1e-6))) << name;
    // A missing state shows the joint at its initial values too.
    entity.joints.erase("boom_slider");
    entity.joints.at("turret_hinge").rotation.z = 0;
    config.jointSolver(&entity);
    ExpectNear(entity.Position("boom_tip"), glm::dvec3(0, 1.05, -1.9));
}

TEST(JointSolver, HingeAndSliderMoveTheNodesBelowThem) {
    EntityConfig& config = Vehicle();
    Instance entity(config);
    const glm::dvec3 chassis = entity.Position("chassis");
    const glm::dvec3 cabin = entity.Position("cabin");

    // The slider runs 1 m out: along the turret's Blender Y, which is game -Z.
    entity.joints.at("boom_slider").position.y = 1.4f;
    config.jointSolver(&entity);
    ExpectNear(entity.Position("boom_tip"), glm::dvec3(0, 1.05, -2.9));

    // The hinge turns 90 degrees about the vertical: the turret's contents swing from -Z to -X
    // about the hinge at (0, 0.8, -0.5); the joint below the hinge follows.
    entity.joints.at("turret_hinge").rotation.z = 90;
    config.jointSolver(&entity);
    ExpectNear(entity.Position("boom_tip"), glm::dvec3(-2.4, 1.05, -0.5));
    ExpectNear(entity.Position("turret"), glm::dvec3(0, 1.05, -0.5));
    const glm::dmat4 boom = entity.nodeTransforms.at("boom");
    ExpectNear(glm::dvec3(boom[2]), glm::dvec3(1, 0, 0));  // the boom's own z axis turned too

    // Nodes beside the joints keep their transforms.
    EXPECT_EQ(entity.Position("chassis"), chassis);
    EXPECT_EQ(entity.Position("cabin"), cabin);
}

TEST(JointSolver, RangeOrderAndLockedJoints) {
    testfiles::TempFolder folder("zendola_joints");
    const std::string path = folder.path + "/arm.ini";
    std::ofstream(path) << "[JOINT up]\nangular_x 30 0 -30\n"
                           "[JOINT down]\nangular_x -30 0 30\n"
                           "[JOINT fixed]\nposition 1 2 3\nrotation 0 0 45\n"
                           "[TARGET on_fixed]\nparent fixed\nposition 0 1 0\n";
    EntityConfig config(path);
    config.ReadConfig();
    Instance entity(config);
    entity.joints.at("up").rotation.x = 50;
    entity.joints.at("down").rotation.x = 50;
    entity.joints.at("fixed").position = glm::vec3(9, 9, 9);
    entity.joints.at("fixed").rotation = glm::vec3(90, 90, 90);
    const glm::dvec3 target = entity.Position("on_fixed");
    config.jointSolver(&entity);
    EXPECT_EQ(glm::vec2(entity.joints.at("up").rotation.x, entity.joints.at("down").rotation.x), glm::vec2(30));
    EXPECT_EQ(entity.joints.at("fixed").position, glm::vec3(1, 2, 3));
    EXPECT_EQ(entity.joints.at("fixed").rotation, glm::vec3(0, 0, 45));
    ExpectNear(entity.Position("on_fixed"), target);

    // No states at all: nothing is touched.
    Instance bare(config);
    bare.joints.clear();
    bare.nodeTransforms["on_fixed"] = glm::dmat4(2.0);
    config.jointSolver(&bare);
    EXPECT_EQ(bare.nodeTransforms["on_fixed"], glm::dmat4(2.0));
}

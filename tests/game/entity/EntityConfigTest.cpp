// Model files: Blender axes, sections and keys, the node tree, collider shapes, and bad input.
#include <gtest/gtest.h>

#include <filesystem>

#include <glm/gtc/matrix_transform.hpp>

#include "TestFiles.h"
#include "game/entity/EntityConfig.h"

using game::entity::ConvexMeshCollider;
using game::entity::EntityConfig;

namespace {

using namespace testfiles;

void ExpectNear(const glm::dmat4& actual, const glm::dmat4& expected, double tolerance = 1e-6) {
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) EXPECT_NEAR(actual[c][r], expected[c][r], tolerance) << "column " << c << " row " << r;
}

// A 4x4 matrix from three column vectors and a translation.
glm::dmat4 Columns(glm::dvec3 x, glm::dvec3 y, glm::dvec3 z, glm::dvec3 t) {
    return glm::dmat4(glm::dvec4(x, 0), glm::dvec4(y, 0), glm::dvec4(z, 0), glm::dvec4(t, 1));
}

class EntityConfigTest : public ::testing::Test {
protected:
    TempFolder folder{"zendola_model"};
    std::string dir = folder.path, path = dir + "/thing.ini";
    EntityConfig c{path};

    // Reads text as the model file of `c`; returns what was printed on the error stream.
    std::string Read(const std::string& text) {
        WriteAll(path, text);
        testing::internal::CaptureStderr();
        c.ReadConfig();
        return testing::internal::GetCapturedStderr();
    }
};

}  // namespace

TEST_F(EntityConfigTest, BlenderAxesToGameTransform) {
    Read("[TARGET pitched]\nposition 1 2 3\nrotation 90 0 0\n"
         "[TARGET yawed]\nposition 0 0 0\nrotation 0 0 90\n"
         "[TARGET rolled]\nrotation 0 90 0\n"
         "[TARGET both]\nposition -1 0.5 2\nrotation 90 0 90\n");
    // 90 degrees about Blender X is 90 degrees about game X: y goes to z, z to -y. The Blender
    // position (1, 2, 3) is (1, 3, -2) in game axes.
    ExpectNear(glm::dmat4(c.targets.at("pitched").transform), Columns({1, 0, 0}, {0, 0, 1}, {0, -1, 0}, {1, 3, -2}));
    // About Blender Z (up) is about game Y: game x goes to -z.
    ExpectNear(glm::dmat4(c.targets.at("yawed").transform), Columns({0, 0, -1}, {0, 1, 0}, {1, 0, 0}, {0, 0, 0}));
    // About Blender Y is about game -Z: game x goes to -y.
    ExpectNear(glm::dmat4(c.targets.at("rolled").transform), Columns({0, -1, 0}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}));
    // Angles (90, 0, 90) become the Euler angles (90, 90, 0) about game X, Y, Z, composed as
    // Z * Y * X: x stays then goes to -z; y goes to z then to x; z goes to -y and stays.
    ExpectNear(glm::dmat4(c.targets.at("both").transform), Columns({0, 0, -1}, {1, 0, 0}, {0, -1, 0}, {-1, 2, -0.5}));
    // Node entries carry the same transform, the parent and the keyword.
    EXPECT_EQ(c.nodes.at("both").type, "TARGET");
    ExpectNear(glm::dmat4(c.nodes.at("both").transform), glm::dmat4(c.targets.at("both").transform));
    // The double form agrees with the float form.
    ExpectNear(EntityConfig::TransformFromBlender(glm::dvec3(-1, 0.5, 2), glm::dvec3(90, 0, 90)),
               glm::dmat4(c.targets.at("both").transform), 1e-6);
}

TEST_F(EntityConfigTest, SectionsKeysAndDefaults) {
    std::string err = Read("[ENTITY  my thing  ]\nmass 12.5\nairtight YES\n"
                           "[CAMERA eye]\nparent root\nposition 1 2 3\nrotation 4 5 6\nznear 0.05\n"
                           "[ADAPTER left dock]\ntype rail\nposition 1 0 0\nunknown 5\n"
                           "[LIGHT_BOX lamp]\nbox_min 1 2 3\nbox_max -1 -2 -3\n"
                           "[RENDERABLE body]\n"
                           "[WHEEL w]\nposition 1 1 1\n"
                           "[JOINT]\nposition 9 9 9\n"
                           "[COLLIDER box]\nis_build_block 1\nposition 1 abc 3\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(c.mass, 12.5);  // the header's name is trimmed, the value read
    EXPECT_TRUE(c.airtight);
    EXPECT_EQ(c.cameras.at("eye").znear, 0.05f);
    EXPECT_EQ(c.adapters.at("left dock").type, "rail");
    // The corners are turned into game axes, then sorted per axis.
    EXPECT_EQ(c.lightBoxes.at("lamp").box_min, glm::vec3(-1, -3, -2));
    EXPECT_EQ(c.lightBoxes.at("lamp").box_max, glm::vec3(1, 3, 2));
    EXPECT_EQ(c.nodes.count("w"), 0u) << "unknown keyword";
    EXPECT_EQ(c.joints.size(), 0u) << "header without a name";
    const auto& box = c.colliders.at("box");
    EXPECT_TRUE(box.is_build_block);
    EXPECT_EQ(box.position, glm::vec3(1, 0, 0)) << "a value that isn't a number stops the key";
    EXPECT_EQ(c.nodes.size(), 5u);

    // base_planes replaces the list; an empty line leaves the default.
    Read("[ENTITY e]\nbase_planes -Z +X top\n");
    EXPECT_EQ(c.base_planes, (std::vector<std::string>{"-Z", "+X", "top"}));
    Read("[ENTITY e]\nbase_planes\n");
    EXPECT_EQ(c.base_planes, (std::vector<std::string>{"-Z", "-Y"}));
}

TEST_F(EntityConfigTest, JointRangesAndLockedAxes) {
    Read("[JOINT still]\nposition 1 2 3\nrotation 10 20 30\n"
         "[JOINT hinge]\nposition 1 2 3\nangular_y 45 0 -45\nlinear_z 3 3.5\n");
    const auto& still = c.joints.at("still");
    EXPECT_FALSE(still.linear_x || still.linear_y || still.linear_z || still.angular_x || still.angular_y ||
                 still.angular_z);
    const auto& hinge = c.joints.at("hinge");
    EXPECT_TRUE(hinge.angular_y && hinge.linear_z);
    EXPECT_EQ(glm::mat3(hinge.angular[0], hinge.angular[1], hinge.angular[2]), glm::mat3(0, 45, 0, 0, 0, 0, 0, -45, 0));
    // linear_z had only two numbers: the third end keeps its earlier value, 0.
    EXPECT_EQ(glm::mat3(hinge.linear[0], hinge.linear[1], hinge.linear[2]), glm::mat3(1, 2, 3, 1, 2, 3.5, 1, 2, 0));
}

// The transforms relative to the first joint above are the joint solver's, and its tests take them.
TEST_F(EntityConfigTest, NodeTreeQueries) {
    Read("[COLLIDER base]\nposition 0 0 1\n"
         "[JOINT arm]\nparent base\nposition 1 0 0\n"
         "[COLLIDER upper]\nparent arm\nposition 0 2 0\n"
         "[TARGET tip]\nparent upper\nposition 0 0 3\n"
         "[TARGET orphan]\nparent nowhere\nposition 5 0 0\n");
    EXPECT_EQ(c.GetAbsoluteTransform("missing"), glm::dmat4(1.0));
    // base (0,1,0) + arm (1,0,0) + upper (0,0,-2) + tip (0,3,0), in game axes.
    EXPECT_EQ(glm::dvec3(c.GetAbsoluteTransform("tip")[3]), glm::dvec3(1, 4, -2));
    // An unknown parent ends the chain as if it were the root.
    EXPECT_EQ(glm::dvec3(c.GetAbsoluteTransform("orphan")[3]), glm::dvec3(5, 0, 0));

    // A loop put into the tree by hand still ends.
    c.nodes["base"].parent = "tip";
    c.GetAbsoluteTransform("tip");
}

TEST_F(EntityConfigTest, ColliderRecordsAndShapes) {
    Read("[COLLIDER box]\nposition 0 0 2\nbox_min 1 1 1\nbox_max -1 -3 -2\n"
         "[COLLIDER hull]\nvertices 0 0 0  1 0 0  0 1 0  0 0 1\nfaces_normal 0 1 0  0 0 2\n"
         "triangles 0 1 2  0 1 3  0 2 3  1 2 3\n");
    const auto& box = c.colliders.at("box");
    EXPECT_EQ(box.box_min, glm::vec3(-1, -2, -1));
    EXPECT_EQ(box.box_max, glm::vec3(1, 1, 3));

    ConvexMeshCollider shape = c.MakeCollider("box");
    EXPECT_EQ(shape.transform, c.GetAbsoluteTransform("box"));
    ASSERT_EQ(shape.vertexCount, 8u);
    EXPECT_EQ(shape.faceNormalCount, 3u) << "a box needs three axes, not six normals";
    EXPECT_EQ(shape.vertices[1], glm::vec3(-1, -2, 3));
    EXPECT_EQ(shape.box_max, glm::vec3(1, 1, 3));

    const auto& hull = c.colliders.at("hull");
    ASSERT_EQ(hull.vertexCount, 4u);
    EXPECT_EQ(hull.vertices[2], glm::vec3(0, 0, -1)) << "Blender (0,1,0)";
    EXPECT_EQ(hull.vertices[3], glm::vec3(0, 1, 0)) << "Blender (0,0,1)";
    ASSERT_EQ(hull.faceNormalCount, 2u);
    EXPECT_LT(glm::distance(hull.faceNormals[1], glm::vec3(0, 1, 0)), 1e-6f);  // (0 0 2) in Blender, made unit
    EXPECT_EQ(hull.triangleCount, 4u);
    shape = c.MakeCollider("hull");
    EXPECT_EQ(shape.box_min, glm::vec3(0, 0, -1)) << "bounds come from the vertices";
    EXPECT_EQ(shape.box_max, glm::vec3(1, 1, 0));
    EXPECT_THROW(c.MakeCollider("missing"), std::out_of_range);
}

TEST_F(EntityConfigTest, BadRecordsAreRejectedWithOneLineEach) {
    std::string err = Read("[COLLIDER many]\nvertices 0 0 0 1 0 0 0 1 0 0 0 1 1 1 0 1 0 1 0 1 1 1 1 1 2 2 2\n"
                           "[COLLIDER normals]\nfaces_normal" + std::string(13, ' ') + [] {
                               std::string s;
                               for (int i = 0; i < 13; ++i) s += " 1 0 0";
                               return s;
                           }() + "\n"
                           "[COLLIDER past]\nvertices 0 0 0 1 0 0 0 1 0\ntriangles 0 1 3\n"
                           "[COLLIDER negative]\nvertices 0 0 0 1 0 0 0 1 0\ntriangles 0 1 -2\n"
                           "[COLLIDER flat]\nfaces_normal 0 0 0\n"
                           "[TARGET huge]\nposition 1e39 0 0\n"
                           "[JOINT nan]\nangular_x 0 nan 1\n"
                           "[ENTITY e]\nmass inf\n"
                           "[COLLIDER good]\nbox_max 1 1 1\n");
    EXPECT_EQ(CountLines(err), 8u) << err;
    for (const std::string& line : {path + ": [COLLIDER many]: more than 8 entries in 'vertices'; record ignored",
                                   std::string("[COLLIDER normals]: more than 12 entries"),
                                   std::string("[COLLIDER past]: triangle index 3 past the 3 vertices"),
                                   std::string("[COLLIDER negative]: triangle index -2"),
                                   std::string("[COLLIDER flat]: face normal of zero length"),
                                   std::string("[TARGET huge]: non-finite number in 'position'"),
                                   std::string("[JOINT nan]: non-finite"), std::string("[ENTITY e]: non-finite")})
        EXPECT_NE(err.find(line), std::string::npos) << line << " in " << err;
    EXPECT_EQ(glm::uvec4(c.colliders.size(), c.nodes.size(), c.targets.size(), c.joints.size()),
              glm::uvec4(1, 1, 0, 0));
    EXPECT_EQ(c.mass, 0.0);
}

TEST_F(EntityConfigTest, LoopingParentsAreDropped) {
    std::string err = Read("[JOINT a]\nparent b\n[COLLIDER b]\nparent a\n"
                           "[TARGET self]\nparent self\n"
                           "[TARGET below]\nparent a\nposition 1 0 0\n"
                           "[TARGET fine]\n");
    EXPECT_EQ(CountLines(err), 2u) << err;
    EXPECT_NE(err.find(path + ": parent chain loops: "), std::string::npos) << err;
    EXPECT_NE(err.find("[TARGET self] -> [TARGET self]"), std::string::npos) << err;
    EXPECT_EQ(c.nodes.count("a") + c.nodes.count("b") + c.nodes.count("self"), 0u);
    EXPECT_EQ(glm::uvec3(c.joints.size(), c.colliders.size(), c.targets.size()), glm::uvec3(0, 0, 2));
    EXPECT_EQ(glm::dvec3(c.GetAbsoluteTransform("below")[3]), glm::dvec3(1, 0, 0));
}

TEST_F(EntityConfigTest, UnreadableFilesChangeNothing) {
    Read("[COLLIDER old]\n[COLLIDER shared]\nposition 1 0 0\n");
    std::string binary("[COLLIDER x]\n\x01\x02\x00", 16);
    std::string err = Read(binary);
    EXPECT_EQ(CountLines(err), 1u) << err;
    EXPECT_NE(err.find(path + ": not a text file"), std::string::npos) << err;
    EXPECT_EQ(c.colliders.size(), 2u);

    std::filesystem::remove(path);
    testing::internal::CaptureStderr();
    c.ReadConfig();
    err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("cannot open"), std::string::npos) << err;
    EXPECT_EQ(c.colliders.size(), 2u);
}

TEST(EntityConfigSamples, ModelFilesInDataLoad) {
    const std::string models = std::string(ZENDOLA_SOURCE_DIR) + "/data/models/";
    for (const char* name : {"cube", "slab", "vehicle", "wing", "buoy", "monitor"}) {
        EntityConfig c(models + name + ".ini");
        testing::internal::CaptureStderr();
        c.ReadConfig();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name;
        for (const auto& [node, record] : c.colliders) {
            const ConvexMeshCollider shape = c.MakeCollider(node);
            for (uint32_t i = 0; i < shape.faceNormalCount; ++i)
                EXPECT_NEAR(glm::length(shape.faceNormals[i]), 1.0f, 1e-6f) << name << " " << node;
        }
    }
}

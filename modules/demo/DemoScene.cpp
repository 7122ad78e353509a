#include "DemoScene.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include "DemoWorld.h"

namespace demo {

using game::entity::ServerSideEntity;

std::shared_ptr<ServerSideEntity> Spawn(const std::string& type, const glm::dvec3& position,
                                        const glm::dquat& rotation, const glm::dvec3& velocity) {
    auto module = ServerSideEntity::_registered_interfaces.find(kModuleText);
    if (module == ServerSideEntity::_registered_interfaces.end() || !module->second.count(type)) return nullptr;
    std::shared_ptr<ServerSideEntity> e = ServerSideEntity::Create(ModuleId(), type, game::entity::Id());
    e->position = position;
    e->rotation = rotation;
    e->velocity = velocity;
    e->relativeEnvironmentId = kPlanetEnvironment;
    // Everything but the ground slab moves on its own.
    e->isDetachable = type != "slab";
    if (std::shared_ptr<ServerSideEntity::Interface> iface = e->_interface) {
        iface->entity = e;
        iface->self = iface;
        iface->id = e->id;
        iface->config = e->config;
        iface->Init();
        iface->initialized = true;
        std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities[kModuleText].push_back(iface);
    }
    return e;
}

namespace {

using game::Config;

// The member of a map by key; invalid when there is none (a plain lookup would give the map).
Config::Node Member(const Config::Node& map, const char* key) {
    Config::Node child = map[key];
    return child && child.Id() != map.Id() && child.Key() == key ? child : Config::Node();
}

// Three numbers in a sequence.
bool ReadVector(const Config::Node& node, glm::dvec3& out) {
    if (!node.IsArray()) return false;
    int count = 0;
    for (Config::Node item : node) {
        if (count == 3 || !item.IsNumeric()) return false;
        out[count++] = item.AsDouble();
    }
    return count == 3;
}

// One item of the scene; an empty text when it is made, else what is wrong with it.
std::string SpawnItem(const Config::Node& item, size_t& made) {
    if (!item.IsMap()) return "not a map";
    Config::Node kind = Member(item, "kind");
    if (!kind.IsValue() || kind.AsString().empty()) return "no kind";
    glm::dvec3 position(0.0), velocity(0.0);
    if (!ReadVector(Member(item, "position"), position)) return "no position of three numbers";
    if (Config::Node v = Member(item, "velocity"); v && !ReadVector(v, velocity))
        return "a velocity that is not three numbers";
    glm::dquat rotation(1, 0, 0, 0);
    if (Config::Node turn = Member(item, "turn")) {
        glm::dvec3 axis(0.0);
        Config::Node angle = Member(turn, "angle");
        if (!ReadVector(Member(turn, "axis"), axis) || glm::length(axis) == 0.0 || !angle.IsNumeric())
            return "a turn without a non-zero axis and an angle";
        rotation = glm::angleAxis(angle.AsDouble(), glm::normalize(axis));
    }
    if (!Spawn(kind.AsString(), position, rotation, velocity)) return "an unknown kind '" + kind.AsString() + "'";
    ++made;
    return {};
}

}  // namespace

size_t SpawnScene(const Config& document) {
    Config::Node scene = document["scene"];
    if (!scene.IsArray() || scene.Key() != "scene") {
        std::cerr << "demo: the scene document has no sequence 'scene'; nothing is made" << std::endl;
        return 0;
    }
    size_t made = 0;
    for (Config::Node item : scene) {
        std::string problem = SpawnItem(item, made);
        if (!problem.empty())
            std::cerr << "demo: scene item " << item.Index() << " has " << problem << "; it is skipped" << std::endl;
    }
    return made;
}

size_t SpawnScene() {
    std::ifstream in(kSceneFile, std::ios::binary);
    if (!in) {
        std::cerr << "demo: cannot read the scene file " << std::filesystem::absolute(kSceneFile).string()
                  << "; nothing is made" << std::endl;
        return 0;
    }
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Config document;
    try {
        document.Parse(text.data());
    } catch (const std::exception& e) {
        std::cerr << "demo: the scene file " << kSceneFile << " is not valid YAML (" << e.what()
                  << "); nothing is made" << std::endl;
        return 0;
    }
    return SpawnScene(document);
}

}  // namespace demo

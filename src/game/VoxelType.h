#pragma once
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "quorl/graphics/TextureRef.h"
#include "quorl/modular/ModuleID.h"

namespace game {

// The registry of terrain materials. Modules declare their types while loading; each gets a
// 16-bit id (its index in allVoxelTypes) and its textures are registered with the renderer. The
// first ForEach closes the list for good: the terrain has baked the ids in by then.
class VoxelType {
public:
    // Declares (or repeats) module.name. A repeat keeps the first id; a value other than 0
    // replaces the registered one, 0 reads it back. Throws std::runtime_error once ForEach ran.
    // The textures are added to Game::renderer whenever the list is not empty (also for a repeat);
    // without a renderer nothing is registered and firstTexture stays 0.
    VoxelType(const std::string& module, const std::string& name, unsigned int value,
              const std::vector<quorl::graphics::TextureRef>& textures);
    VoxelType(const VoxelType&) = default;
    VoxelType& operator=(const VoxelType&) = default;

    // Closes the list, then calls callback(id, type) for every id from 1 on, under the registry's
    // mutex: the callback must not declare types.
    static void ForEach(std::function<void(unsigned short, const VoxelType&)>&& callback);

    quorl::modular::ModuleID module;
    std::string name;
    uint32_t value = 0;
    uint16_t id = 0;
    uint32_t firstTexture = 0;  // low 16 bits of AddTextures' result; 0 when none

    static std::mutex mu;
    static bool locked;
    static std::vector<VoxelType> allVoxelTypes;
    static std::unordered_map<std::string, uint16_t> allVoxelTypesByName;
    // Id 0, "no voxel": key ".".
    static VoxelType _empty;
};

}  // namespace game

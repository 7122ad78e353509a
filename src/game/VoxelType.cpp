#include "game/VoxelType.h"

#include <stdexcept>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"

namespace game {

// Defined in this order: _empty's constructor uses the others.
std::mutex VoxelType::mu;
bool VoxelType::locked = false;
std::vector<VoxelType> VoxelType::allVoxelTypes;
std::unordered_map<std::string, uint16_t> VoxelType::allVoxelTypesByName;
VoxelType VoxelType::_empty("", "", 0, {});

VoxelType::VoxelType(const std::string& module_, const std::string& name_, unsigned int value_,
                     const std::vector<quorl::graphics::TextureRef>& textures)
    : module(module_), name(name_), value(value_) {
    std::lock_guard lock(mu);
    if (locked) throw std::runtime_error("Trying to add more voxel types after executing VoxelType::ForEach()");
    if (!textures.empty() && Game::renderer)
        firstTexture = uint16_t(Game::renderer->AddTextures(textures, Game::renderer->SamplerLinear()));

    const std::string key = module_ + "." + name_;
    if (const auto it = allVoxelTypesByName.find(key); it != allVoxelTypesByName.end()) {
        id = it->second;
    } else {
        // Ids are 16 bits: a further type could not be told apart.
        if (allVoxelTypes.size() > 0xFFFF) throw std::runtime_error("More than 65535 voxel types declared");
        id = uint16_t(allVoxelTypes.size());
        allVoxelTypes.push_back(*this);
        allVoxelTypesByName.emplace(key, id);
    }
    if (value != 0)
        allVoxelTypes[id].value = value;
    else
        value = allVoxelTypes[id].value;
}

void VoxelType::ForEach(std::function<void(unsigned short, const VoxelType&)>&& callback) {
    std::lock_guard lock(mu);
    locked = true;
    for (unsigned short i = 1; i < allVoxelTypes.size(); ++i) callback(i, allVoxelTypes[i]);
}

}  // namespace game

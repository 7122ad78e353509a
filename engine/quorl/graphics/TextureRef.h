#pragma once
#include <memory>

#include "quorl/graphics/Texture.h"

namespace quorl::graphics {

// Shared ownership of a texture. A texture handed to the renderer lives until the renderer
// and every other holder have let it go; GPU use is covered by the game's trash.
using TextureRef = std::shared_ptr<Texture>;

}  // namespace quorl::graphics

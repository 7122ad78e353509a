#include "game/graphics/LightSourceInstance.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/Assert.h"

namespace game::graphics {

std::vector<LightSourceInstance*> LightSourceInstance::_instances;
quorl::SharedMutex LightSourceInstance::_instancesMutex;

namespace {

quorl::vk::Device& Device() {
    QUORL_ASSERT(Game::renderer);
    return Game::renderer->GetDevice();
}

}  // namespace

LightSourceInstance::LightSourceInstance(glm::vec3 position, float radius, glm::vec3 direction, float focus,
                                         glm::vec3 color, float power)
    : position(position),
      radius(std::fabs(radius)),
      direction(direction),
      focus(focus),
      data(Device(), 1, "LightSourceInstanceData") {
    LightSourceInstanceData& d = data[0];
    std::memset(static_cast<void*>(&d), 0, 32);
    std::memcpy(d.color, &color, sizeof d.color);
    d.radius = radius;
    std::memcpy(d.direction, &direction, sizeof d.direction);
    d.focus = focus;
    if (power > 0.0f) SetPower(power, color, focus);
    std::unique_lock lock(_instancesMutex);
    _instances.push_back(this);
}

LightSourceInstance::~LightSourceInstance() {
    std::unique_lock lock(_instancesMutex);
    std::erase(_instances, this);
}

void LightSourceInstance::SetPower(float power, glm::vec3 color, float newFocus) {
    active = power != 0.0f;
    if (!active) return;
    if (newFocus != 0.0f) focus = newFocus;
    LightSourceInstanceData& d = data[0];
    if (power != d.power) {
        // The distance at which the light has faded to 0.01: spread over a sphere, or over the
        // cone its focus narrows it to.
        const float s = power / 0.01f - 1.0f;
        float r;
        if (focus == 0.0f)
            r = s > 0.0f ? std::sqrt(s / 12.566371f) : 0.0f;
        else
            r = std::sqrt(std::max(s, 0.0f)) / (2.0f * focus);
        r += radius;
        for (int i = 0; i < 3; ++i) {
            d.boxMin[i] = position[i] - r + direction[i] * r - direction[i] * radius;
            d.boxMax[i] = position[i] + r + direction[i] * r + direction[i] * radius;
        }
        d.power = power;
        d.reach = r;
        boundsChanged = true;
    }
    std::memcpy(d.color, &color, sizeof d.color);
    if (newFocus != 0.0f) d.focus = newFocus;
}

}  // namespace game::graphics

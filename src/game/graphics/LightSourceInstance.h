#pragma once
#include <memory>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/graphics/GpuRecords.h"
#include "quorl/vk/MappedBuffer.h"

namespace game::graphics {

// A light: position, radius, optional direction with its focus, and one GPU record whose box
// bounds where the light still reaches, so the record is its own primitive.
class LightSourceInstance : public std::enable_shared_from_this<LightSourceInstance> {
public:
    LightSourceInstance(glm::vec3 position, float radius, glm::vec3 direction, float focus, glm::vec3 color,
                        float power);

    // Power 0 switches the light off and changes nothing else. A new power recomputes the reach
    // (where the light has faded to 0.01) and the box; the colour, and a non-zero focus, are
    // written always.
    void SetPower(float power, glm::vec3 color, float focus);

    const LightSourceInstanceData& Data() const { return data[0]; }

    glm::vec3 position;
    float radius;  // absolute value
    glm::vec3 direction;
    float focus;
    quorl::vk::MappedBuffer<LightSourceInstanceData> data;
    glm::dmat4 transform{1.0};
    bool active = false;
    bool moved = false;
    bool boundsChanged = false;
};

}  // namespace game::graphics

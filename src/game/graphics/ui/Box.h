#pragma once
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "game/graphics/ui/Element.h"

namespace game::graphics::ui {

// A filled rectangle of one colour (shader "game/graphics/ui/shaders/box"): 4 vertices, one
// instance. The block holds the rectangle (floats 0..3) and the colour (4..7).
class Box : public Element {
public:
    static constexpr const char* kShader = "game/graphics/ui/shaders/box";

    explicit Box(int sortOrder = 0, bool visible = true);

    GraphicsPipelineWrapper* GetPipeline() override;

    void SetPosition(glm::vec2 position);
    void SetSize(glm::vec2 size);
    void SetColor(glm::vec4 color);
    glm::vec4 GetColor() const;
};

}  // namespace game::graphics::ui

#pragma once
#include <string>

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "game/graphics/ui/Element.h"

namespace game::graphics::ui {

// A line of text centred on its position, in glyphs of the monospace font atlas (shader
// "game/graphics/ui/shaders/text"): one instance of 4 vertices per character. The size is the
// glyph height in the elements' unit (half the screen height); a glyph is half as wide, so the
// rectangle is as wide as the line. The block holds the rectangle (floats 0..3), the colour
// (4..7) and up to kMaxLength characters, four to a float's 32 bits; a longer text is cut.
// Characters outside printable ASCII show as '?'.
class Text : public Element {
public:
    static constexpr const char* kShader = "game/graphics/ui/shaders/text";
    static constexpr size_t kMaxLength = 92;

    explicit Text(const char* text = "", int sortOrder = 0, bool visible = true);

    GraphicsPipelineWrapper* GetPipeline() override;

    void SetPosition(glm::vec2 position);
    void SetSize(float size);
    void SetText(const char* text);
    void SetColor(glm::vec4 color);
    glm::vec4 GetColor() const;
    std::string GetText() const;

private:
    void UpdateWidth();

    std::string _text;
};

}  // namespace game::graphics::ui

#pragma once
#include <functional>
#include <memory>

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "game/graphics/ui/Box.h"
#include "game/graphics/ui/Text.h"

namespace game::graphics::ui {

// A box with a text inside it (the text at half the box's height) that runs _action when
// clicked: press and release of mouse button 0 over it. The box is drawn at sort key 1 and the
// text at 2, so a button stands over a background box (key 0) and its text over it.
//
// Events: hover(hovered, held) shows the held-down colours when both are set, else the box at
// rest and the text hovered or at rest. click(button, action) acts on button 0 only: a press
// (1) shows the held-down colours and sets `pressed`; a release (0) with `pressed` set runs
// _action (under the element's mutex, when the button is visible) and leaves `pressed` set;
// any other action clears it. Reset clears it with the hover state.
class Button : public Box {
public:
    static constexpr glm::vec4 kBoxColor{0.5f, 0.5f, 0.5f, 0.8f};        // at rest and hovered
    static constexpr glm::vec4 kTextColor{0.8f, 0.8f, 0.8f, 1.0f};       // at rest
    static constexpr glm::vec4 kTextHoverColor{1.0f, 1.0f, 1.0f, 1.0f};  // hovered
    static constexpr glm::vec4 kBoxHeldColor{0.4f, 0.4f, 0.4f, 0.8f};    // held down
    static constexpr glm::vec4 kTextHeldColor{0.0f, 0.0f, 0.0f, 1.0f};   // held down

    explicit Button(const char* text = "", bool visible = true);

    void SetPosition(glm::vec2 position);
    void SetSize(glm::vec2 size);
    void SetText(const char* text);
    void Show() override;
    void Hide() override;
    void Reset() override;

    bool IsPressed() const;
    const std::shared_ptr<Text>& GetTextElement() const { return _text; }

    std::function<void()> _action;

private:
    void OnHover(bool hovered, bool held);
    void OnClick(int button, int action);

    std::shared_ptr<Text> _text;
    bool _pressed = false;
};

}  // namespace game::graphics::ui

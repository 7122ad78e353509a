#include "game/graphics/ui/Button.h"

namespace game::graphics::ui {

Button::Button(const char* text, bool visible_) : Box(1, visible_) {
    _text = Element::Make<Text>(text, 2, visible_);
    SetColor(kBoxColor);
    _text->SetColor(kTextColor);
    hover = [this](bool hovered_, bool held) { OnHover(hovered_, held); };
    click = [this](int button, int action) { OnClick(button, action); };
}

void Button::SetPosition(glm::vec2 position) {
    Box::SetPosition(position);
    _text->SetPosition(position);
}

void Button::SetSize(glm::vec2 size) {
    Box::SetSize(size);
    _text->SetSize(size.y * 0.5f);
}

void Button::SetText(const char* text) { _text->SetText(text); }

void Button::Show() {
    Box::Show();
    _text->Show();
}

void Button::Hide() {
    Box::Hide();
    _text->Hide();
}

void Button::Reset() {
    std::lock_guard lock(mutex);
    Box::Reset();
    _text->Reset();
    _pressed = false;
    SetColor(kBoxColor);
    _text->SetColor(kTextColor);
}

bool Button::IsPressed() const {
    std::lock_guard lock(mutex);
    return _pressed;
}

void Button::OnHover(bool hovered_, bool held) {
    if (hovered_ && held) {
        SetColor(kBoxHeldColor);
        _text->SetColor(kTextHeldColor);
    } else {
        SetColor(kBoxColor);
        _text->SetColor(hovered_ ? kTextHoverColor : kTextColor);
    }
}

void Button::OnClick(int button, int action) {
    if (button != 0) return;
    std::lock_guard lock(mutex);
    if (action == 1) {
        SetColor(kBoxHeldColor);
        _text->SetColor(kTextHeldColor);
        _pressed = true;
    } else if (action == 0 && _pressed) {
        if (visible && _action) _action();
    } else {
        _pressed = false;
    }
}

}  // namespace game::graphics::ui

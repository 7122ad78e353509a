#include "game/graphics/ui/Text.h"

#include <cstring>

#include "game/graphics/ui/GraphicsPipelineWrapper.h"

namespace game::graphics::ui {

namespace {
GraphicsPipelineWrapper textPipeline(Text::kShader, VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP, true);
constexpr size_t kFirstCharFloat = 8;
}  // namespace

static_assert(kFirstCharFloat * 4 + Text::kMaxLength + 4 == Element::kDataSize,
              "characters fill the block up to its last float");

Text::Text(const char* text, int sortOrder_, bool visible_) : Element(4, 0, sortOrder_, visible_) {
    SetText(text);
}

GraphicsPipelineWrapper* Text::GetPipeline() { return &textPipeline; }

void Text::SetPosition(glm::vec2 position) {
    std::lock_guard lock(mutex);
    data[0] = position.x;
    data[1] = position.y;
}

void Text::SetSize(float size) {
    std::lock_guard lock(mutex);
    data[3] = size;
    UpdateWidth();
}

void Text::SetText(const char* text) {
    std::lock_guard lock(mutex);
    _text = text ? text : "";
    if (_text.size() > kMaxLength) _text.resize(kMaxLength);
    unsigned char bytes[kMaxLength] = {};
    std::memcpy(bytes, _text.data(), _text.size());
    std::memcpy(&data[kFirstCharFloat], bytes, kMaxLength);
    instanceCount = int(_text.size());
    UpdateWidth();
}

void Text::SetColor(glm::vec4 color) {
    std::lock_guard lock(mutex);
    for (int i = 0; i < 4; ++i) data[4 + i] = color[i];
}

glm::vec4 Text::GetColor() const {
    std::lock_guard lock(mutex);
    return {data[4], data[5], data[6], data[7]};
}

std::string Text::GetText() const {
    std::lock_guard lock(mutex);
    return _text;
}

void Text::UpdateWidth() { data[2] = data[3] * 0.5f * float(_text.size()); }

}  // namespace game::graphics::ui

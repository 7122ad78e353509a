#include "game/graphics/ui/Box.h"

#include "game/graphics/ui/GraphicsPipelineWrapper.h"

namespace game::graphics::ui {

namespace {
// Made with the library, so that the renderer finds it listed when it loads the pipelines.
GraphicsPipelineWrapper boxPipeline(Box::kShader, VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP);
}  // namespace

Box::Box(int sortOrder_, bool visible_) : Element(4, 1, sortOrder_, visible_) {}

GraphicsPipelineWrapper* Box::GetPipeline() { return &boxPipeline; }

void Box::SetPosition(glm::vec2 position) {
    std::lock_guard lock(mutex);
    data[0] = position.x;
    data[1] = position.y;
}

void Box::SetSize(glm::vec2 size) {
    std::lock_guard lock(mutex);
    data[2] = size.x;
    data[3] = size.y;
}

void Box::SetColor(glm::vec4 color) {
    std::lock_guard lock(mutex);
    for (int i = 0; i < 4; ++i) data[4 + i] = color[i];
}

glm::vec4 Box::GetColor() const {
    std::lock_guard lock(mutex);
    return {data[4], data[5], data[6], data[7]};
}

}  // namespace game::graphics::ui

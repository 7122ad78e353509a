#include "game/graphics/ui/Node.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace game::graphics::ui {

using nlohmann::json;

float JsonCoordinate(const json& j) {
    double v = j.get<double>();
    if (!std::isfinite(v)) v = 0;
    return float(std::clamp(v, -1.0e9, 1.0e9));
}

int32_t JsonInt(const json& j, const char* key) {
    if (j.is_number_integer() || j.is_number_unsigned()) {
        if (j.is_number_unsigned()) {
            uint64_t u = j.get<uint64_t>();
            if (u <= uint64_t(std::numeric_limits<int32_t>::max())) return int32_t(u);
        } else {
            int64_t v = j.get<int64_t>();
            if (v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max())
                return int32_t(v);
        }
    } else if (j.is_number_float()) {
        double d = j.get<double>();
        if (d >= std::numeric_limits<int32_t>::min() && d <= std::numeric_limits<int32_t>::max())
            return int32_t(d);
    } else {
        // Same words as the JSON library's own conversion error.
        throw std::runtime_error(std::string("\"") + key + "\": type must be number, but is " +
                                 j.type_name());
    }
    throw std::runtime_error(std::string("\"") + key + "\": number out of range");
}

Node::Node(const std::string& title_, const std::vector<UniqueId>& inputs_)
    : id(UniqueId::Generate("NODE")), title(title_), inputs(inputs_) {}

Node::Node(const json& j) {
    id = UniqueId(j.at("id").get<std::string>());
    title = j.at("title").get<std::string>();
    const json& p = j.at("pos");
    pos = ImVec2(JsonCoordinate(p.at("x")), JsonCoordinate(p.at("y")));
    const json& s = j.at("size");
    size = ImVec2(JsonCoordinate(s.at("x")), JsonCoordinate(s.at("y")));
    const json& in = j.at("inputs");
    if (!in.is_array()) throw std::runtime_error("\"inputs\": type must be array, but is " + std::string(in.type_name()));
    for (const json& e : in) inputs.emplace_back(e.get<std::string>());
}

json Node::Serialize() {
    json j;
    j["id"] = id.ToString();
    j["title"] = title;
    j["pos"] = {{"x", pos.x}, {"y", pos.y}};
    j["size"] = {{"x", size.x}, {"y", size.y}};
    json in = json::array();
    for (const UniqueId& u : inputs) in.push_back(u.ToString());
    j["inputs"] = std::move(in);
    return j;
}

float Node::GetMinimumHeight() const {
    float h = resizable ? 55.0f : 45.0f;
    if (inputs.size() > 1) h += 20.0f * float(inputs.size() - 1);
    return h;
}

void Node::DrawInput(ImDrawList* drawList, ImVec2 pos_, float radius, float, int pin) {
    drawList->AddCircleFilled(pos_, radius * 0.6f, GetInputColor(hoveredInput == pin, pin));
}

void Node::DrawOutput(ImDrawList* drawList, ImVec2 pos_, float radius, float) {
    drawList->AddCircleFilled(pos_, radius * 0.6f, GetOutputColor(hovered));
}

ImU32 Node::GetInputColor(bool hovered_, int) const {
    return hovered_ ? ImGui::ColorConvertFloat4ToU32(ImVec4(0.5f, 1.0f, 0.6f, 1.0f))
                    : ImGui::ColorConvertFloat4ToU32(ImVec4(0.2f, 0.8f, 0.4f, 1.0f));
}

ImU32 Node::GetOutputColor(bool hovered_) const {
    return hovered_ ? ImGui::ColorConvertFloat4ToU32(ImVec4(1.0f, 0.5f, 0.6f, 1.0f))
                    : ImGui::ColorConvertFloat4ToU32(ImVec4(0.8f, 0.2f, 0.4f, 1.0f));
}

}  // namespace game::graphics::ui

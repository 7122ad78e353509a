// Arbitrary bytes as a node graph ({"nodes": [...]} whole, any other JSON value as one node): what
// loads generates a program and writes JSON that loads back to the same JSON.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "game/QuorlCodeEditor.h"
#include "game/QuorlCodeNodes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using game::QuorlCodeEditor::Editor;
    nlohmann::json j = nlohmann::json::parse(data, data + size, nullptr, false);
    if (j.is_discarded()) return 0;
    if (!j.is_object() || !j.contains("nodes")) j = nlohmann::json{{"nodes", nlohmann::json::array({j})}};
    Editor editor("fuzz");
    try {
        editor.LoadNodes(j);  // DeserializeNode for each entry
    } catch (const std::runtime_error&) {
        return 0;  // a root of the wrong shape
    }
    editor.Serialize(false);
    const std::string once = editor.SerializeNodes().dump();
    Editor again("fuzz");
    again.LoadNodes(nlohmann::json::parse(once));
    if (again.SerializeNodes().dump() != once) std::abort();
    return 0;
}

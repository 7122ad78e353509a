#pragma once
#include <imgui.h>

#include <string>

namespace game {

// The interface's main face in the ImGui atlas of the current context: Noto Sans with an emoji
// face merged into it, both at 48 pixels (the style draws them at half size and more, so text
// stays sharp at any interface scale). The files are looked up under data/ (see
// quorl::graphics::Texture::DataPath).
//
// A missing file prints "Font file does not exist: " and its path on the error stream and is
// skipped: without the main face ImGui's own face stands in, so the atlas always has a font.
// The object owns the glyph ranges the atlas reads when it is built: keep it alive as long as
// the atlas.
class MultiFont {
public:
    static constexpr const char* kSansFile = "game/graphics/ui/fonts/NotoSans-Regular.ttf";
    static constexpr const char* kEmojiFile = "game/graphics/ui/fonts/NotoEmoji-Regular.ttf";
    static constexpr float kSize = 48.0f;

    MultiFont();
    MultiFont(const MultiFont&) = delete;
    MultiFont& operator=(const MultiFont&) = delete;

    // Adds the file at kSize with these glyph ranges, merged into this object's font when it has
    // one. False (and the message) when the file does not exist or can't be read as a font.
    bool AddFont(const std::string& path, const ImWchar* ranges);

    // The face the two files make (ImGui's own face when the main one is missing).
    ImFont* font = nullptr;

private:
    ImFontConfig _config;
    ImVector<ImWchar> _textRanges;
    ImVector<ImWchar> _emojiRanges;
};

}  // namespace game

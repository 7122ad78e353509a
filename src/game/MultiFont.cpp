#include "game/MultiFont.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "quorl/graphics/Texture.h"

namespace game {

namespace {

// The first four bytes of a TrueType or OpenType file (or collection): ImGui stops the process on
// anything else, so other files are refused before they reach it.
bool LooksLikeAFont(const std::string& file) {
    char tag[4] = {};
    std::ifstream in(file, std::ios::binary);
    if (!in.read(tag, 4)) return false;
    for (const char* known : {"\x00\x01\x00\x00", "OTTO", "true", "typ1", "ttcf"})
        if (std::memcmp(tag, known, 4) == 0) return true;
    return false;
}

}  // namespace

MultiFont::MultiFont() {
    ImFontAtlas* atlas = ImGui::GetIO().Fonts;
    _config.OversampleH = 1;  // 48-pixel glyphs drawn at half size need no more
    _config.OversampleV = 1;

    ImFontGlyphRangesBuilder text;
    text.AddRanges(atlas->GetGlyphRangesDefault());
    static const ImWchar kTextExtra[] = {0x0100, 0x017F, 0x2000, 0x206F, 0x20AC, 0x20AC, 0};
    text.AddRanges(kTextExtra);
    text.BuildRanges(&_textRanges);

    // Arrows, miscellaneous symbols and dingbats: the emoji that a 16-bit glyph index reaches,
    // kept few because every glyph is rasterised when the atlas is built.
    ImFontGlyphRangesBuilder emoji;
    static const ImWchar kEmoji[] = {0x2190, 0x21FF, 0x2600, 0x27BF, 0};
    emoji.AddRanges(kEmoji);
    emoji.BuildRanges(&_emojiRanges);

    if (!AddFont(kSansFile, _textRanges.Data)) {
        ImFontConfig fallback;
        fallback.SizePixels = kSize * 0.5f;
        font = atlas->AddFontDefault(&fallback);
    }
    AddFont(kEmojiFile, _emojiRanges.Data);
}

bool MultiFont::AddFont(const std::string& path, const ImWchar* ranges) {
    const std::string file =
        std::filesystem::path(path).is_absolute() ? path : quorl::graphics::Texture::DataPath(path);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec)) {
        std::cerr << "Font file does not exist: " << path << std::endl;
        return false;
    }
    if (!LooksLikeAFont(file)) {
        std::cerr << "Font file cannot be read: " << path << std::endl;
        return false;
    }
    ImFontConfig config = _config;
    config.MergeMode = font != nullptr;
    ImFont* added = ImGui::GetIO().Fonts->AddFontFromFileTTF(file.c_str(), kSize, &config, ranges);
    if (!added) {
        std::cerr << "Font file cannot be read: " << path << std::endl;
        return false;
    }
    if (!font) font = added;
    return true;
}

}  // namespace game

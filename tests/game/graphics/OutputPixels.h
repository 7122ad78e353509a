#pragma once
// The renderer's output image after a frame, as RGBA8 rows (through a PNG under test-output/).
#include <gtest/gtest.h>
#include <stb_image.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "game/graphics/GameRenderer.h"

inline std::vector<uint8_t> OutputPixels(game::graphics::GameRenderer& r, const std::string& name) {
    const std::string path = std::string(ZENDOLA_BINARY_DIR) + "/test-output/" + name + ".png";
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    EXPECT_TRUE(r.SaveImage(r.GetOutputVkImage(), {0, 0}, r.GetOutputImageExtent(), r.GetOutputImageFormat(),
                            r.OutputFinalLayout(), path));
    int w = 0, h = 0, n = 0;
    stbi_uc* png = stbi_load(path.c_str(), &w, &h, &n, 4);
    if (!png) return {};
    std::vector<uint8_t> pixels(png, png + size_t(w) * size_t(h) * 4);
    stbi_image_free(png);
    return pixels;
}

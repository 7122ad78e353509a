#pragma once
// The renderer's output image after a frame, or the part of `size` at `at`, as RGBA8 rows
// (through a PNG under test-output/).
#include <gtest/gtest.h>
#include <stb_image.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "game/graphics/GameRenderer.h"

inline std::vector<uint8_t> OutputPixels(game::graphics::GameRenderer& r, const std::string& name,
                                         VkOffset2D at = {0, 0}, VkExtent2D size = {0, 0}) {
    const std::string path = std::string(ZENDOLA_BINARY_DIR) + "/test-output/" + name + ".png";
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (size.width == 0) size = r.GetOutputImageExtent();
    EXPECT_TRUE(r.SaveImage(r.GetOutputVkImage(), at, size, r.GetOutputImageFormat(), r.OutputFinalLayout(),
                            path));
    int w = 0, h = 0, n = 0;
    stbi_uc* png = stbi_load(path.c_str(), &w, &h, &n, 4);
    if (!png) return {};
    std::vector<uint8_t> pixels(png, png + size_t(w) * size_t(h) * 4);
    stbi_image_free(png);
    return pixels;
}

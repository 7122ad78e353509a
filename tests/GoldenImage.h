#pragma once
// Pictures compared as pictures: RGBA8 pixels against tests/golden/<name>.png, with a per-channel
// tolerance that survives driver differences. On a mismatch the actual image and a difference
// image (red where a pixel is off) are written to <build>/test-output/, and the result says
// where. ZENDOLA_UPDATE_GOLDEN=1 in the environment writes the golden image instead.
#include <gtest/gtest.h>
#include <stb_image.h>
#include <stb_image_write.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

inline ::testing::AssertionResult MatchesGolden(const std::string& name, const std::vector<uint8_t>& rgba,
                                                uint32_t width, uint32_t height, int tolerance = 6,
                                                double allowedBadFraction = 0.002) {
    const std::string golden = std::string(ZENDOLA_SOURCE_DIR) + "/tests/golden/" + name + ".png";
    const std::filesystem::path outDir = std::filesystem::path(ZENDOLA_BINARY_DIR) / "test-output";
    if (rgba.size() != size_t(width) * height * 4) return ::testing::AssertionFailure() << "pixel count is wrong";
    const char* update = std::getenv("ZENDOLA_UPDATE_GOLDEN");
    if (update && std::string(update) == "1") {
        stbi_write_png(golden.c_str(), int(width), int(height), 4, rgba.data(), int(width) * 4);
        return ::testing::AssertionSuccess() << "golden written";
    }
    int w = 0, h = 0, n = 0;
    stbi_uc* expected = stbi_load(golden.c_str(), &w, &h, &n, 4);
    std::filesystem::create_directories(outDir);
    const std::string actualPath = (outDir / (name + ".actual.png")).string();
    const std::string diffPath = (outDir / (name + ".diff.png")).string();
    if (!expected) {
        stbi_write_png(actualPath.c_str(), int(width), int(height), 4, rgba.data(), int(width) * 4);
        return ::testing::AssertionFailure() << "no golden image " << golden << "; actual written to " << actualPath;
    }
    if (uint32_t(w) != width || uint32_t(h) != height) {
        stbi_image_free(expected);
        stbi_write_png(actualPath.c_str(), int(width), int(height), 4, rgba.data(), int(width) * 4);
        return ::testing::AssertionFailure() << "golden is " << w << "x" << h << ", image is " << width << "x"
                                             << height << "; actual written to " << actualPath;
    }
    std::vector<uint8_t> diff(rgba.size());
    size_t bad = 0;
    int worst = 0;
    for (size_t p = 0; p < size_t(width) * height; ++p) {
        int d = 0;
        for (int c = 0; c < 4; ++c) d = std::max(d, std::abs(int(rgba[p * 4 + c]) - int(expected[p * 4 + c])));
        worst = std::max(worst, d);
        const bool off = d > tolerance;
        bad += off;
        diff[p * 4 + 0] = off ? 255 : uint8_t(rgba[p * 4 + 0] / 4);
        diff[p * 4 + 1] = off ? 0 : uint8_t(rgba[p * 4 + 1] / 4);
        diff[p * 4 + 2] = off ? 0 : uint8_t(rgba[p * 4 + 2] / 4);
        diff[p * 4 + 3] = 255;
    }
    stbi_image_free(expected);
    if (double(bad) <= allowedBadFraction * double(width) * height) return ::testing::AssertionSuccess();
    stbi_write_png(actualPath.c_str(), int(width), int(height), 4, rgba.data(), int(width) * 4);
    stbi_write_png(diffPath.c_str(), int(width), int(height), 4, diff.data(), int(width) * 4);
    return ::testing::AssertionFailure() << bad << " pixels differ from " << golden << " by more than " << tolerance
                                         << " (worst " << worst << "); see " << actualPath << " and " << diffPath;
}

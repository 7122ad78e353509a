#include <gtest/gtest.h>
#include <stb_image.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "VulkanTest.h"
#include "quorl/graphics/ComputeTexture.h"
#include "quorl/graphics/DynamicAsyncTexture.h"
#include "quorl/graphics/SaveImage.h"
#include "quorl/graphics/Texture.h"
#include "quorl/graphics/Upscaler.h"
#include "quorl/graphics/VulkanRenderer.h"
#include "quorl/graphics/Window.h"
#include "quorl/vk/CommandBuffer.h"

using namespace quorl::graphics;
using quorl::vk::CommandBuffer;
using quorl::vk::Device;

namespace {

class GraphicsTexture : public VulkanTest {};

// Clears a whole texture to a colour and leaves it in TRANSFER_SRC_OPTIMAL.
void Fill(Device& device, Texture& t, VkClearColorValue color) {
    CommandBuffer::Run(device, "fill", [&](VkCommandBuffer cmd) {
        CommandBuffer::TransitionImage(cmd, t.Image(), VK_IMAGE_ASPECT_COLOR_BIT, VK_IMAGE_LAYOUT_UNDEFINED,
                                       VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
        VkImageSubresourceRange range{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        vkCmdClearColorImage(cmd, t.Image(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, &color, 1, &range);
        CommandBuffer::TransitionImage(cmd, t.Image(), VK_IMAGE_ASPECT_COLOR_BIT, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                                       VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    });
}

std::string OutPath(const std::string& name) {
    auto dir = std::filesystem::path(ZENDOLA_BINARY_DIR) / "test-output";
    std::filesystem::create_directories(dir);
    return (dir / name).string();
}

}  // namespace

TEST_F(GraphicsTexture, SaveImageConvertsFloatsSwapsBgraAndRefusesOtherFormats) {
    Device device("TextureTest", 1, {});
    ComputeTexture floats(device, 4, 2, VK_FORMAT_R32G32B32A32_SFLOAT);
    Fill(device, floats, {{1.5f, 0.5f, -1.0f, 1.0f}});
    auto px = SaveImage::Read(device, floats.Image(), {0, 0}, {4, 2}, floats.Format(),
                              VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    ASSERT_EQ(px.size(), 32u);
    EXPECT_EQ(std::vector<uint8_t>(px.begin(), px.begin() + 4), (std::vector<uint8_t>{255, 128, 0, 255}));

    Texture bgra(device, 3, 3, VK_FORMAT_B8G8R8A8_UNORM,
                 VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    Fill(device, bgra, {{1.0f, 0.0f, 0.25f, 1.0f}});  // red, a little blue
    const std::string png = OutPath("bgra.png");
    ASSERT_TRUE(SaveImage::Save(device, bgra.Image(), {1, 1}, {2, 2}, bgra.Format(),
                                VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, png));
    int w = 0, h = 0, n = 0;
    stbi_uc* back = stbi_load(png.c_str(), &w, &h, &n, 0);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(w, 2);
    EXPECT_EQ(n, 4);
    EXPECT_EQ(back[0], 255);
    EXPECT_EQ(back[2], 64);
    stbi_image_free(back);

    const std::string refused = OutPath("format50.png");
    std::filesystem::remove(refused);
    EXPECT_FALSE(SaveImage::Save(device, bgra.Image(), {0, 0}, {3, 3}, VkFormat(50),
                                 VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, refused));
    EXPECT_FALSE(std::filesystem::exists(refused));
}

TEST_F(GraphicsTexture, LoadedTexturesAreRegisteredInOrder) {
    Window window;
    VulkanRenderer renderer(&window, "TextureTest", 1, {}, false, {16, 16});
    const std::string atlas = Texture::DataPath("game/graphics/ui/textures/monospace_font_atlas.png");
    TextureRef a = Texture::Load(renderer.GetDevice(), atlas);
    EXPECT_EQ(a->layout, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    EXPECT_EQ(renderer.AddTexture(a, VK_NULL_HANDLE), 0u);
    auto b = std::make_shared<DynamicAsyncTexture>(renderer.GetDevice(), 2, 2);
    EXPECT_FALSE(b->SetPixels(std::vector<uint8_t>(15)));  // not 2 x 2 x 4
    EXPECT_EQ(renderer.AddTextures({b, a}, VK_NULL_HANDLE), 1u);
    EXPECT_EQ(renderer.TextureCount(), 3u);
    EXPECT_EQ(renderer.GetTexture(2), a);
    EXPECT_EQ(renderer.GetTexture(3), nullptr);
    try {
        Texture::Load(renderer.GetDevice(), "no/such/image.png");
        FAIL() << "no error";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("no/such/image.png"), std::string::npos) << e.what();
    }
}

TEST(GraphicsUpscaler, NamesAndQueries) {
    for (size_t i = 0; i < Upscaler::UPSCALER_ALGOS_STR.size(); ++i) {
        const auto algo = Upscaler::GetAlgoEnumFromStr(Upscaler::UPSCALER_ALGOS_STR[i]);
        EXPECT_EQ(std::string(Upscaler::GetAlgoStrFromEnum(algo)), Upscaler::UPSCALER_ALGOS_STR[i]);
    }
    EXPECT_EQ(Upscaler::GetAlgoEnumFromStr("linear"), Upscaler::AUTO);  // names are upper case
    EXPECT_EQ(Upscaler::Resolve(Upscaler::TEMPORAL), Upscaler::LINEAR);  // not supported here
    EXPECT_EQ(Upscaler::Resolve(Upscaler::NEAREST), Upscaler::NEAREST);
}

// No Vulkan driver: a clear error that says what to install, not a crash.
TEST(GraphicsDevice, NoDriverNamesWhatToInstall) {
    const char* previous = std::getenv("VK_ICD_FILENAMES");
    const std::string saved = previous ? previous : "";
    setenv("VK_ICD_FILENAMES", "/nonexistent/icd.json", 1);
    try {
        Window window;
        VulkanRenderer renderer(&window, "TextureTest", 1, {}, false, {8, 8});
        ADD_FAILURE() << "a renderer without a driver";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("apt-get install mesa-vulkan-drivers"), std::string::npos) << e.what();
    }
    if (previous)
        setenv("VK_ICD_FILENAMES", saved.c_str(), 1);
    else
        unsetenv("VK_ICD_FILENAMES");
}

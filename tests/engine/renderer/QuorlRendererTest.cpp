#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "GoldenImage.h"
#include "VulkanTest.h"
#include "quorl/graphics/SaveImage.h"
#include "quorl/graphics/Window.h"
#include "quorl/renderer/QuorlRenderer.h"

using quorl::graphics::SaveImage;
using quorl::renderer::QuorlRenderer;

namespace {

// Records each callback it receives, and the command buffers handed over.
class RecordingRenderer : public QuorlRenderer {
public:
    RecordingRenderer(quorl::graphics::Window* window, VkExtent2D extent)
        : QuorlRenderer(window, "QuorlRendererTest", 1, {}, false, extent) {}

    std::vector<std::string> calls;
    std::vector<VkCommandBuffer> buffers;
    VkClearRect rect{{{16, 8}, {24, 40}}, 0, 1};
    uint32_t aimId = 0;

    void FrameInit() override { calls.push_back("FrameInit"); }
    void FrameUpdateUi() override { calls.push_back("FrameUpdateUi"); }
    void FrameBeforeUpdate() override { calls.push_back("FrameBeforeUpdate"); }
    void FrameUpdate() override { calls.push_back("FrameUpdate"); }
    void FrameAfterUpdate() override { calls.push_back("FrameAfterUpdate"); }
    void FrameBeforeRender() override { calls.push_back("FrameBeforeRender"); }
    void FrameUpdateDescriptorSets() override { calls.push_back("FrameUpdateDescriptorSets"); }
    void FramePushCommands(VkCommandBuffer c) override { Cmd("FramePushCommands", c); }
    void FrameBuildCommands(VkCommandBuffer c) override { Cmd("FrameBuildCommands", c); }
    void FrameRenderCommands(VkCommandBuffer c) override {
        Cmd("FrameRenderCommands", c);
        // A region of the colour attachment and of the aim id attachment.
        VkClearAttachment clears[2]{};
        clears[0].aspectMask = VK_IMAGE_ASPECT_COLOR_BIT;
        clears[0].colorAttachment = 0;
        clears[0].clearValue.color = {{1.0f, 0.0f, 0.0f, 1.0f}};
        clears[1].aspectMask = VK_IMAGE_ASPECT_COLOR_BIT;
        clears[1].colorAttachment = 1;
        clears[1].clearValue.color.uint32[0] = aimId;
        vkCmdClearAttachments(c, 2, clears, 1, &rect);
    }
    void FrameBeforePost() override { calls.push_back("FrameBeforePost"); }
    void FrameResolveCommands(VkCommandBuffer c) override { Cmd("FrameResolveCommands", c); }
    void FrameBlitCommands(VkCommandBuffer c) override { Cmd("FrameBlitCommands", c); }
    void FramePostCommands(VkCommandBuffer c) override { Cmd("FramePostCommands", c); }
    void FrameOverlayCommands(VkCommandBuffer c) override { Cmd("FrameOverlayCommands", c); }
    void FrameAfterRender() override { calls.push_back("FrameAfterRender"); }
    void FrameCollectGarbage() override { calls.push_back("FrameCollectGarbage"); }

    std::vector<uint8_t> Output() {
        return SaveImage::Read(GetDevice(), GetOutputVkImage(), {0, 0}, GetOutputImageExtent(),
                               GetOutputImageFormat(), OutputFinalLayout());
    }

private:
    void Cmd(const char* name, VkCommandBuffer c) {
        calls.push_back(name);
        buffers.push_back(c);
    }
};

class QuorlRendererTest : public VulkanTest {};

}  // namespace

TEST_F(QuorlRendererTest, FrameRunsTheSeventeenCallbacksAroundOneCommandBufferAndDrawsTheSky) {
    quorl::graphics::Window window;
    RecordingRenderer r(&window, {64, 64});
    ASSERT_TRUE(r.IsOffscreen());
    ASSERT_TRUE(r.Frame());
    const std::vector<std::string> expected = {
        "FrameInit", "FrameUpdateUi", "FrameBeforeUpdate", "FrameUpdate", "FrameAfterUpdate", "FrameBeforeRender",
        "FrameUpdateDescriptorSets", "FramePushCommands", "FrameBuildCommands", "FrameRenderCommands",
        "FrameBeforePost", "FrameResolveCommands", "FrameBlitCommands", "FramePostCommands",
        "FrameOverlayCommands", "FrameAfterRender", "FrameCollectGarbage"};
    EXPECT_EQ(r.calls, expected);
    ASSERT_EQ(r.buffers.size(), 7u);
    for (VkCommandBuffer c : r.buffers) EXPECT_EQ(c, r.buffers[0]);
    EXPECT_NE(r.buffers[0], VkCommandBuffer(VK_NULL_HANDLE));

    // The sky, and the region the render hook cleared.
    EXPECT_TRUE(MatchesGolden("frame_sky_clear_region", r.Output(), 64, 64));
}

TEST_F(QuorlRendererTest, RenderScaleDrawsSmallerAndTheOutputKeepsItsSize) {
    quorl::graphics::Window window;
    RecordingRenderer r(&window, {64, 64});
    r.renderScale = 0.5f;
    r.rect = {{{8, 8}, {16, 16}}, 0, 1};
    ASSERT_TRUE(r.Frame());
    EXPECT_EQ(r.SceneExtent().width, 32u);
    EXPECT_EQ(r.GetOutputImageExtent().width, 64u);
    // The region (8..24 in scene pixels) doubles on the output: 16..48.
    const auto pixels = r.Output();
    EXPECT_EQ(pixels[(size_t(44) * 64 + 44) * 4], 255);
    EXPECT_LT(pixels[(size_t(52) * 64 + 52) * 4], 200);
}

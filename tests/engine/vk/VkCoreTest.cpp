#include <gtest/gtest.h>

#include <stdexcept>

#include "VulkanTest.h"
#include "quorl/vk/CommandBuffer.h"
#include "quorl/vk/Device.h"
#include "quorl/vk/MappedBuffer.h"
#include "quorl/vk/ShaderFile.h"

using namespace quorl::vk;

class VkCore : public VulkanTest {};

TEST_F(VkCore, RunThatThrowsSubmitsNothingAndLeavesThePoolUsable) {
    Device device("VkCoreTest", 1, PhysicalDevice::Features{});
    MappedBuffer<uint32_t, VMA_MEMORY_USAGE_CPU_TO_GPU, VK_BUFFER_USAGE_TRANSFER_DST_BIT> b(device, 4);
    b[0] = 7;
    EXPECT_THROW(CommandBuffer::Run(device, "throws",
                                    [&](VkCommandBuffer cmd) {
                                        vkCmdFillBuffer(cmd, b.GetBuffer().Handle(), 0, 16, 99);
                                        throw std::runtime_error("hook failed");
                                    }),
                 std::runtime_error);
    EXPECT_EQ(b[0], 7u);  // never submitted
    for (int i = 0; i < 3; ++i)
        CommandBuffer::Run(device, "fill", [&](VkCommandBuffer cmd) {
            vkCmdFillBuffer(cmd, b.GetBuffer().Handle(), 0, 16, uint32_t(i));
        });
    EXPECT_EQ(b[3], 2u);
}

TEST(VkCoreDeath, MappedBufferIndexBeyondCount) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Device device("VkCoreTest", 1, PhysicalDevice::Features{});
            MappedBuffer<float> b(device, 3);
            b[3] = 1.0f;
        },
        "ASSERTION FAILED: \\(index < _count\\) in .*engine/quorl/vk/MappedBuffer.h");
}

TEST(VkCoreShaders, MissingShaderNamesFileAndInstallHint) {
    try {
        ShaderFile::Load("quorl/no_such_shader", "frag");
        FAIL() << "no error";
    } catch (const std::runtime_error& e) {
        const std::string text = e.what();
        EXPECT_NE(text.find("data/quorl/no_such_shader.frag.spv"), std::string::npos) << text;
        EXPECT_NE(text.find("apt-get install glslc"), std::string::npos) << text;
    }
    EXPECT_FALSE(ShaderFile::Find("quorl/renderer/sky", "vert").empty());
}

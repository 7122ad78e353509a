#pragma once
// Base of tests that use Vulkan: the validation layer is on while they run and a validation
// message fails the test.
#include <gtest/gtest.h>

#include "quorl/vk/Device.h"

template <class Base = ::testing::Test>
class VulkanTestOf : public Base {
protected:
    void SetUp() override {
        Base::SetUp();
        _validationBefore = quorl::vk::Device::validation.load();
        quorl::vk::Device::validation = true;
        _messagesBefore = quorl::vk::Device::validationMessages.load();
    }
    void TearDown() override {
        EXPECT_EQ(quorl::vk::Device::validationMessages.load(), _messagesBefore)
            << "the Vulkan validation layer reported problems (see the error stream)";
        quorl::vk::Device::validation = _validationBefore;
        Base::TearDown();
    }

private:
    int _messagesBefore = 0;
    bool _validationBefore = false;
};

using VulkanTest = VulkanTestOf<>;

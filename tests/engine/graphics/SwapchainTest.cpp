#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "VulkanTest.h"
#include "quorl/graphics/GlfwWindow.h"
#include "quorl/renderer/QuorlRenderer.h"

extern char** environ;

namespace {

// A private X server (Xvfb) for the test's window, ended with the test.
class XServer {
public:
    XServer() {
        for (int display = 90 + int(getpid() % 400); display < 600 && !_pid; display += 7) {
            const std::string socket = "/tmp/.X11-unix/X" + std::to_string(display);
            if (std::filesystem::exists(socket)) continue;
            const std::string name = ":" + std::to_string(display);
            const char* argv[] = {"Xvfb", name.c_str(), "-screen", "0", "320x240x24", "-nolisten", "tcp", nullptr};
            pid_t pid = 0;
            if (posix_spawnp(&pid, "Xvfb", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) return;
            for (int i = 0; i < 100 && !std::filesystem::exists(socket); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (!std::filesystem::exists(socket)) {
                kill(pid, SIGTERM);
                waitpid(pid, nullptr, 0);
                continue;
            }
            _pid = pid;
            _display = name;
        }
    }
    ~XServer() {
        if (!_pid) return;
        kill(_pid, SIGTERM);
        waitpid(_pid, nullptr, 0);
    }
    const std::string& Display() const { return _display; }

private:
    pid_t _pid = 0;
    std::string _display;
};

class Swapchain : public VulkanTest {};

}  // namespace

// The window part runs in a child process that ends with _exit: closing GLFW unloads the X
// libraries, whose leftovers are not this test's to judge at the leak check of a normal exit.
TEST_F(Swapchain, FramesPresentToAWindow) {
    XServer x;
    if (x.Display().empty()) GTEST_SKIP() << "Xvfb can't be started (Debian: apt-get install xvfb)";
    setenv("DISPLAY", x.Display().c_str(), 1);
    // Forked, not re-run: the X server belongs to this process.
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(
        {
            int failures = 0;
            {
                quorl::graphics::GlfwWindow window(96, 64, "Swapchain test");
                quorl::renderer::QuorlRenderer renderer(&window, "SwapchainTest", 1, {}, true);
                failures += renderer.IsOffscreen();
                failures += renderer.GetOutputImageExtent().width != 96u;
                failures += renderer.OutputImageCount() < 2u;
                for (int i = 0; i < 4; ++i) {
                    window.PollEvents();
                    failures += !renderer.Frame();
                }
                renderer.ReCreateSwapchain();
                failures += !renderer.Frame();
                failures += renderer.FrameIndex() != 5u;
            }
            failures += quorl::vk::Device::validationMessages.load();
            std::fprintf(stderr, "swapchain failures: %d\n", failures);
            _exit(failures == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "swapchain failures: 0");
    unsetenv("DISPLAY");
}

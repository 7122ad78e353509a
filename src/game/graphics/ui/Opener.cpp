#include "game/graphics/ui/Opener.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <mutex>
#include <thread>

extern char** environ;

namespace game::graphics::ui {

namespace {

std::mutex& HandlerMutex() {
    static std::mutex mutex;
    return mutex;
}

Opener::Handler& CurrentHandler() {
    static Opener::Handler handler;
    return handler;
}

}  // namespace

bool Opener::Open(const std::string& address) {
    Handler handler;
    {
        std::lock_guard lock(HandlerMutex());
        handler = CurrentHandler();
    }
    return handler ? handler(address) : OpenWithXdg(address);
}

void Opener::SetHandler(Handler handler) {
    std::lock_guard lock(HandlerMutex());
    CurrentHandler() = std::move(handler);
}

bool Opener::OpenWithXdg(const std::string& address) {
    std::string program = "xdg-open";
    char* argv[] = {program.data(), const_cast<char*>(address.c_str()), nullptr};
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, argv[0], nullptr, nullptr, argv, environ);
    if (error != 0) {
        std::cerr << "Cannot open " << address << ": xdg-open: " << std::strerror(error) << std::endl;
        return false;
    }
    // xdg-open returns once the handler has started; wait for it away from the interface thread.
    std::thread([pid] {
        int status = 0;
        waitpid(pid, &status, 0);
    }).detach();
    return true;
}

}  // namespace game::graphics::ui

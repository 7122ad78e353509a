#pragma once
#include <functional>
#include <string>

namespace game::graphics::ui {

// Opens an address (a web page, a file) with the desktop's handler: `xdg-open` started as a child
// process, never through a shell, so the address is one argument whatever it holds. Tests put
// their own handler in its place.
class Opener {
public:
    using Handler = std::function<bool(const std::string& address)>;

    Opener() = delete;

    // Hands the address to the handler. False when it could not be started; the reason is
    // printed on the error stream.
    static bool Open(const std::string& address);
    // Replaces the handler; an empty one restores xdg-open.
    static void SetHandler(Handler handler);
    // Starts `xdg-open address` without waiting for it; the child is reaped on its own.
    static bool OpenWithXdg(const std::string& address);
};

}  // namespace game::graphics::ui

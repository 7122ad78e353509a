#include "game/ElectronWebview.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "game/Game.h"
#include "game/PipeServer.h"
#include "quorl/Assert.h"
#include "quorl/graphics/DynamicAsyncTexture.h"

namespace game {

char ElectronWebview::readBuffer[ElectronWebview::kReadBufferSize];

// The renderer's texture of changing pixels takes pages as it is.
template void ElectronWebview::Texture(const std::shared_ptr<quorl::graphics::DynamicAsyncTexture>&,
                                       const std::string&, const std::string&, double);

namespace {

// printf into a record buffer of kRecordSize bytes; a record that doesn't fit is a broken
// invariant, never a cut record on the wire.
template <class... Args>
void Format(char (&record)[ElectronWebview::kRecordSize], const char* format, Args... args) {
    const int length = std::snprintf(record, sizeof(record), format, args...);
    QUORL_ASSERT(length >= 0 && size_t(length) < sizeof(record));
}

// Reads exactly `size` bytes; false when the stream ended first.
bool ReadAll(PipeServer& pipe, char* data, uint64_t size) {
    while (size > 0) {
        const uint64_t got = pipe.Read(data, size);
        if (got == 0) return false;
        data += got;
        size -= got;
    }
    return true;
}

// Reads and drops `size` bytes through the buffer; false when the stream ended first.
bool Skip(PipeServer& pipe, uint64_t size) {
    while (size > 0) {
        const uint64_t chunk = std::min<uint64_t>(size, ElectronWebview::kReadBufferSize);
        if (!ReadAll(pipe, ElectronWebview::readBuffer, chunk)) return false;
        size -= chunk;
    }
    return true;
}

uint32_t LittleEndian32(const char* bytes) {
    const auto* b = reinterpret_cast<const unsigned char*>(bytes);
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

}  // namespace

void ElectronWebview::RunElectron(const std::string& command) {
    running = true;
    const int status = std::system(command.c_str());
    (void)status;  // the process's end is all that matters: the pages are dead for the run
    while (Game::isActive) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    running = false;
}

void ElectronWebview::WriteToPipe(PipeServer& pipe) {
    std::lock_guard lock(mutex);
    if (!outgoing.empty()) {
        const std::string command = std::move(outgoing.front());
        outgoing.pop();
        if (!pipe.Write(command.data(), command.size()))
            std::cerr << "Broken pipe with ELECTRON_WEBVIEW in Write Thread" << std::endl;
        return;
    }
    if (mouseMoved) {
        char record[kRecordSize];
        bool move = false;
        {
            std::lock_guard mouseLock(_mouseMutex);
            if (!mouseTarget.empty()) {
                Format(record, "input %s {\"type\":\"mouseMove\",\"x\":%f,\"y\":%f}", mouseTarget.c_str(), mouseX,
                       mouseY);
                mouseMoved = false;
                move = true;
            }
        }
        if (move) {
            pipe.Write(record, std::strlen(record));
            return;
        }
    }
    pipe.Write("ping ", 5);
}

void ElectronWebview::ReadFromPipe(PipeServer& pipe) {
    char header[8];
    const uint64_t first = pipe.Read(header, 4);
    if (first == 0) return;
    if (!ReadAll(pipe, header + first, 8 - first)) {
        std::cerr << "ElectronWebview: frame message cut short by the end of the stream" << std::endl;
        return;
    }
    const uint32_t nameSize = LittleEndian32(header);
    const uint32_t dataSize = LittleEndian32(header + 4);

    // The name needs a zero behind it in the buffer; the data goes over it from the start.
    if (nameSize >= kReadBufferSize || dataSize > kReadBufferSize) {
        std::cerr << "ElectronWebview: refused a frame message with a name of " << nameSize << " bytes and data of "
                  << dataSize << " bytes: the read buffer holds " << kReadBufferSize << " bytes" << std::endl;
        if (!Skip(pipe, uint64_t(nameSize) + dataSize))
            std::cerr << "ElectronWebview: frame message cut short by the end of the stream" << std::endl;
        return;
    }
    if (!ReadAll(pipe, readBuffer, nameSize)) {
        std::cerr << "ElectronWebview: frame message cut short by the end of the stream" << std::endl;
        return;
    }
    readBuffer[nameSize] = 0;
    const std::string name(readBuffer);
    if (!ReadAll(pipe, readBuffer, dataSize)) {
        std::cerr << "ElectronWebview: frame for page " << name << " cut short by the end of the stream" << std::endl;
        return;
    }

    std::lock_guard lock(mutex);
    const auto found = callbacks.find(name);
    if (found == callbacks.end()) throw std::out_of_range("unordered_map::at");
    found->second(readBuffer, dataSize);
}

bool ElectronWebview::WaitForWork(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex);
    return _work.wait_for(lock, timeout, [this] { return !outgoing.empty() || mouseMoved; });
}

void ElectronWebview::OpenWithCallback(const std::string& name, const std::string& url, unsigned width,
                                       unsigned height, double zoom, FrameCallback callback) {
    char zoomText[64];
    std::snprintf(zoomText, sizeof(zoomText), "%f", zoom);
    std::string command = "open " + name + " " + url + " " + std::to_string(width) + " " + std::to_string(height) +
                          " " + zoomText;
    std::lock_guard lock(mutex);
    outgoing.push(std::move(command));
    callbacks[name] = std::move(callback);
    _work.notify_one();
}

void ElectronWebview::Open(const std::string& name, const std::string& url, unsigned width, unsigned height,
                           double zoom) {
    OpenWithCallback(name, url, width, height, zoom, [](const char*, size_t) {});
}

void ElectronWebview::Close(const std::string& name) {
    std::lock_guard lock(mutex);
    outgoing.push("close " + name);
    callbacks.erase(name);
    _work.notify_one();
}

void ElectronWebview::ClearCallbacks() {
    std::lock_guard lock(mutex);
    callbacks.clear();
}

void ElectronWebview::PushInput(const std::string& name, const char* record) {
    std::lock_guard lock(mutex);
    outgoing.push("input " + name + " " + record);
    _work.notify_one();
}

std::string ElectronWebview::MouseTarget() {
    std::lock_guard lock(_mouseMutex);
    return mouseTarget;
}

void ElectronWebview::MouseMove(const std::string& name, double x, double y) {
    std::string target = MouseTarget();
    if (mouseDown && name != target) {
        MouseUp();  // a drag that leaves its page ends there
    }
    if (name.empty()) return;  // the target stays for keys and the wheel
    std::lock_guard lock(_mouseMutex);
    mouseTarget = name;
    if (std::abs(x - mouseX) <= 0.01 && std::abs(y - mouseY) <= 0.01) return;
    mouseX = x;
    mouseY = y;
    mouseMoved = true;
    _work.notify_one();
}

void ElectronWebview::MouseButton(const std::string& name, int button, int action, double x, double y) {
    const char* type = action == 1 ? "mouseDown" : action == 0 ? "mouseUp" : nullptr;
    const char* buttonText = button == 0 ? "left" : button == 1 ? "right" : nullptr;
    if (!type || !buttonText) return;
    if (mouseDown && name != MouseTarget()) MouseUp();
    if (name.empty()) return;
    if (button == 0) mouseDown = action % 2;
    char record[kRecordSize];
    Format(record, "{\"type\":\"%s\",\"x\":%f,\"y\":%f,\"button\":\"%s\",\"clickCount\":1}", type, x, y, buttonText);
    PushInput(name, record);
}

void ElectronWebview::MouseUp() {
    std::string target;
    double x, y;
    {
        std::lock_guard lock(_mouseMutex);
        target = mouseTarget;
        x = mouseX;
        y = mouseY;
    }
    if (target.empty()) return;
    char record[kRecordSize];
    Format(record, "{\"type\":\"mouseUp\",\"x\":%f,\"y\":%f,\"button\":\"left\",\"clickCount\":1}", x, y);
    PushInput(target, record);
    mouseDown = false;
}

void ElectronWebview::MouseWheel(double x, double y) {
    const std::string target = MouseTarget();
    if (target.empty()) return;
    char record[kRecordSize];
    Format(record, "{\"type\":\"mouseWheel\",\"x\":0,\"y\":0,\"deltaX\":%f,\"deltaY\":%f}", x * 40.0, y * 40.0);
    PushInput(target, record);
}

void ElectronWebview::InputChar(char c) {
    const std::string target = MouseTarget();
    if (target.empty()) return;
    char record[kRecordSize];
    if (c == '\\')
        Format(record, "{\"type\":\"char\",\"keyCode\":\"%s\"}", "\\\\");
    else
        Format(record, "{\"type\":\"char\",\"keyCode\":\"%c\"}", c);
    PushInput(target, record);
}

void ElectronWebview::InputKey(int key, int action) {
    const std::string target = MouseTarget();
    if (target.empty()) return;
    const char* type = action == 1 ? "keyDown" : action == 0 ? "keyUp" : nullptr;
    const char* text = KeyText(key);
    if (!type || !text) return;
    char record[kRecordSize];
    Format(record, "{\"type\":\"%s\",\"keyCode\":\"%s\"}", type, text);
    PushInput(target, record);
}

const char* ElectronWebview::KeyText(int key) {
    // Letters and digits are their own character; the strings live in a table of one-char texts.
    static const auto singles = [] {
        std::array<char[2], 128> texts{};
        for (int c = 0; c < 128; ++c) texts[c][0] = char(c);
        return texts;
    }();
    if ((key >= 'A' && key <= 'Z') || (key >= '0' && key <= '9')) return singles[key];
    static const char* const numpad[] = {"num0", "num1", "num2", "num3", "num4",
                                         "num5", "num6", "num7", "num8", "num9"};
    if (key >= 320 && key <= 329) return numpad[key - 320];
    switch (key) {
        case 32: return "Space";
        case 39: return "'";
        case 44: return ",";
        case 45: return "-";
        case 46: return ".";
        case 47: return "/";
        case 59: return ";";
        case 61: case 336: return "=";
        case 91: return "[";
        case 92: return "\\\\";
        case 93: return "]";
        case 96: return "`";
        case 257: case 335: return "Enter";
        case 258: return "Tab";
        case 259: return "Backspace";
        case 260: return "Insert";
        case 261: return "Delete";
        case 262: return "Right";
        case 263: return "Left";
        case 264: return "Down";
        case 265: return "Up";
        case 266: return "PageUp";
        case 267: return "PageDown";
        case 268: return "Home";
        case 269: return "End";
        case 280: return "Capslock";
        case 281: return "Scrolllock";
        case 282: return "Numlock";
        case 283: return "PrintScreen";
        case 284: return "Pause";
        case 330: return "numdec";
        case 331: return "numdiv";
        case 332: return "nummult";
        case 333: return "numsub";
        case 334: return "numadd";
        case 340: case 344: return "Shift";
        case 341: case 345: return "Ctrl";
        case 342: case 346: return "Alt";
        case 343: case 347: return "Super";
        case 348: return "Menu";
        default: return nullptr;
    }
}

}  // namespace game

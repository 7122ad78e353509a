#pragma once
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <string>
#include <unordered_map>
#include <vector>

namespace game {

class PipeServer;

// The library's side of the web view: it queues text commands for the page process, turns
// input into JSON event records for the page under the mouse, and hands each frame that comes
// back to the callback registered under the page's name. The host runs RunElectron,
// ReadFromPipe and WriteToPipe in loops on three threads of its own (see WebviewHost); the
// input side calls the rest.
//
// Wire format, library to process, one PipeServer::Write per command, no terminator:
//   "open NAME URL WIDTH HEIGHT ZOOM"   (ZOOM with "%f"; NAME and URL hold no blank)
//   "close NAME"
//   "input NAME {json record}"
//   "ping "
// Process to library, one message per frame: name length N and data length D (4 bytes each,
// unsigned little-endian), the name, the data. The data goes unchanged to the callback; for a
// texture page it is the raw RGBA pixels, width * height * 4 bytes.
//
// Locking: `mutex` guards the queue and the callbacks and is held during WriteToPipe's blocking
// write and during a frame's callback. The mouse state the write loop reads (target, position,
// moved flag) has a lock of its own that is never held across a blocking call, so MouseMove on
// the input thread never waits for a stalled process (a torn page name would be undefined
// behaviour, not merely a stale position).
class ElectronWebview {
public:
    using FrameCallback = std::function<void(const char* data, size_t size)>;

    static constexpr size_t kReadBufferSize = 1048576;
    // Every input record is formatted into a buffer of this size; a longer one is a broken
    // invariant (a page name of about a thousand characters).
    static constexpr size_t kRecordSize = 1024;

    // Sets `running`, runs `command` with system() until the process ends, then waits in steps
    // of 10 ms while Game::isActive holds, and clears `running`. The process is never started
    // again: when it dies the pages stay dead for the run.
    void RunElectron(const std::string& command);
    // Sends the first queued command, else the waiting mouse move, else "ping ". A command that
    // can't be sent is lost with "Broken pipe with ELECTRON_WEBVIEW in Write Thread" on the
    // error stream; a failed move or ping goes unnoticed.
    void WriteToPipe(PipeServer& pipe);
    // Receives one frame message and calls its page's callback with the data. Returns at once
    // when the stream has ended. A name unknown to the callbacks (a page closed while its frame
    // was in flight) raises std::out_of_range("unordered_map::at"), which the caller catches.
    // A message whose name or data can't fit the 1 MiB buffer is refused with a message on the
    // error stream and skipped whole, so that the next message is read in step.
    void ReadFromPipe(PipeServer& pipe);

    // Blocks until a command or a mouse move waits, or `timeout` passed. The write loop calls it
    // before each WriteToPipe so that an idle link sends one ping per timeout instead of
    // spinning. True when something waits.
    bool WaitForWork(std::chrono::milliseconds timeout);

    // Opens a page of width x height pixels whose frames are dropped.
    void Open(const std::string& name, const std::string& url, unsigned width, unsigned height, double zoom);
    // Opens a page at the texture's size whose frames go to texture->Load(data, size) while the
    // texture lives. A texture that went away leaves a silent entry behind until Close.
    // TextureType is quorl::graphics::DynamicAsyncTexture in the game; any texture that
    // LoadFrame and TextureWidth know serves.
    template <class TextureType>
    void Texture(const std::shared_ptr<TextureType>& texture, const std::string& name, const std::string& url,
                 double zoom);
    // Sends the close command and forgets the page's callback at once.
    void Close(const std::string& name);
    // Forgets every page's callback; sends nothing.
    void ClearCallbacks();

    // Mouse position over page `name` ("" for none) in the page's pixels. Moves of 0.01 or less
    // are dropped; only the last position waits for the write loop. A drag that leaves its page
    // ends there with a mouseUp.
    void MouseMove(const std::string& name, double x, double y);
    // button 0 left, 1 right; action 1 press, 0 release (GLFW numbering). Others are ignored.
    void MouseButton(const std::string& name, int button, int action, double x, double y);
    // Releases the left button on the page under the mouse, at the last position sent.
    void MouseUp();
    // Scroll offsets as GLFW gives them; the page gets 40 pixels per step.
    void MouseWheel(double x, double y);
    // GLFW key number and action (1 press, 0 release; repeats are ignored). Keys without a
    // text (function keys among them) never reach a page.
    void InputKey(int key, int action);
    void InputChar(char c);

    // The key's text in the records, or null for a key that isn't sent.
    static const char* KeyText(int key);

    // Fields, in this order.
    std::mutex mutex;
    std::queue<std::string> outgoing;
    std::unordered_map<std::string, FrameCallback> callbacks;
    std::string mouseTarget;
    double mouseX = 0;
    double mouseY = 0;
    bool mouseDown = false;
    std::atomic<bool> mouseMoved{false};
    std::atomic<bool> running{false};

    static char readBuffer[kReadBufferSize];

private:
    void OpenWithCallback(const std::string& name, const std::string& url, unsigned width, unsigned height,
                          double zoom, FrameCallback callback);
    // Queues "input " + name + " " + record.
    void PushInput(const std::string& name, const char* record);
    std::string MouseTarget();

    std::mutex _mouseMutex;  // mouseTarget, mouseX, mouseY
    std::condition_variable _work;
};

// Width and height of a texture, by whichever accessor it has (the renderer's textures give
// their Extent()).
template <class TextureType>
unsigned TextureWidth(const TextureType& texture) {
    if constexpr (requires { texture.Extent().width; })
        return unsigned(texture.Extent().width);
    else if constexpr (requires { texture.GetWidth(); })
        return unsigned(texture.GetWidth());
    else
        return unsigned(texture.width);
}

template <class TextureType>
unsigned TextureHeight(const TextureType& texture) {
    if constexpr (requires { texture.Extent().height; })
        return unsigned(texture.Extent().height);
    else if constexpr (requires { texture.GetHeight(); })
        return unsigned(texture.GetHeight());
    else
        return unsigned(texture.height);
}

// Hands a frame to a texture: Load(data, size) where the texture has it, else SetPixels with a
// copy of the RGBA bytes (the renderer's DynamicAsyncTexture, which refuses a wrong size).
template <class TextureType>
void LoadFrame(TextureType& texture, const char* data, size_t size) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    if constexpr (requires { texture.Load(bytes, size); })
        texture.Load(bytes, size);
    else
        texture.SetPixels(std::vector<uint8_t>(bytes, bytes + size));
}

template <class TextureType>
void ElectronWebview::Texture(const std::shared_ptr<TextureType>& texture, const std::string& name,
                              const std::string& url, double zoom) {
    std::weak_ptr<TextureType> weak = texture;
    OpenWithCallback(name, url, TextureWidth(*texture), TextureHeight(*texture), zoom,
                     [weak](const char* data, size_t size) {
                         if (auto live = weak.lock()) LoadFrame(*live, data, size);
                     });
}

}  // namespace game

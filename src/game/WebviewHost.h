#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace game {

class ElectronWebview;
class PipeServer;

// The host's side of the web view: the three threads that drive an ElectronWebview over one
// PipeServer. The run thread starts the page process (webview/page-process.js under Node.js)
// with RunElectron; the write loop sends commands, moves and pings; the read loop delivers
// frames. A frame for a page closed while it was in flight raises std::out_of_range in the read
// loop, which is caught here, counted and dropped.
//
// When the page process dies, the read loop ends at the end of its stream, the write loop goes
// on (a lost command is reported once by WriteToPipe), and the pages stay dead for the run.
//
// Stop after Game::isActive was cleared (Game::Quit): RunElectron waits for that before it
// returns, and Stop joins its thread.
class WebviewHost {
public:
    struct Settings {
        std::string node = "node";
        // The page program; empty for DefaultScript().
        std::string script;
        // The browser the page process drives; empty for its own default.
        std::string browser;
        std::string pipeName = "webview";
        // Folder of the pipe sockets; empty for PipeServer::RunFolder().
        std::string runFolder;
        // An idle write loop sends one ping per interval.
        std::chrono::milliseconds pingInterval{100};
    };

    explicit WebviewHost(ElectronWebview& webview, Settings settings);
    ~WebviewHost();
    WebviewHost(const WebviewHost&) = delete;
    WebviewHost& operator=(const WebviewHost&) = delete;

    // Creates the pipe sockets and starts the three threads. Throws std::runtime_error when the
    // sockets can't be made.
    void Start();
    // Shuts the pipe (the process sees the end of its stream and exits) and joins the threads.
    void Stop();

    // The shell command that starts the page process.
    std::string Command() const;
    // $ZENDOLA_WEBVIEW_SCRIPT if set, else "webview/page-process.js" below the working folder.
    static std::string DefaultScript();

    // Frames dropped because their page had no callback any more.
    uint64_t LateFrames() const { return _lateFrames.load(); }
    // True once the read loop ended: the process closed its side or died.
    bool ReadLoopEnded() const { return _readEnded.load(); }
    PipeServer* Pipe() const { return _pipe.get(); }

private:
    void WriteLoop();
    void ReadLoop();

    ElectronWebview& _webview;
    Settings _settings;
    std::unique_ptr<PipeServer> _pipe;
    std::thread _runThread, _readThread, _writeThread;
    std::atomic<bool> _stopping{false};
    std::atomic<bool> _readEnded{false};
    std::atomic<uint64_t> _lateFrames{0};
};

}  // namespace game

#include "game/WebviewHost.h"

#include <cstdlib>
#include <stdexcept>

#include "game/ElectronWebview.h"
#include "game/PipeServer.h"

namespace game {

namespace {

// One word for sh: single quotes, with each quote inside closed, escaped and reopened.
std::string ShellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

}  // namespace

WebviewHost::WebviewHost(ElectronWebview& webview, Settings settings)
    : _webview(webview), _settings(std::move(settings)) {
    if (_settings.script.empty()) _settings.script = DefaultScript();
    if (_settings.runFolder.empty()) _settings.runFolder = PipeServer::RunFolder();
}

WebviewHost::~WebviewHost() { Stop(); }

std::string WebviewHost::DefaultScript() {
    if (const char* script = std::getenv("ZENDOLA_WEBVIEW_SCRIPT"); script && *script) return script;
    return "webview/page-process.js";
}

std::string WebviewHost::Command() const {
    const std::string base = _settings.runFolder + "/" + _settings.pipeName;
    std::string command = ShellQuote(_settings.node) + " " + ShellQuote(_settings.script) + " --pipe " + ShellQuote(base);
    if (!_settings.browser.empty()) command += " --browser " + ShellQuote(_settings.browser);
    return command;
}

void WebviewHost::Start() {
    if (_pipe) return;
    _pipe = std::make_unique<PipeServer>(_settings.pipeName, _settings.runFolder);
    _stopping = false;
    _readEnded = false;
    const std::string command = Command();
    _runThread = std::thread([this, command] { _webview.RunElectron(command); });
    _writeThread = std::thread([this] { WriteLoop(); });
    _readThread = std::thread([this] { ReadLoop(); });
}

void WebviewHost::Stop() {
    if (!_pipe) return;
    _stopping = true;
    _pipe->Shutdown();
    if (_writeThread.joinable()) _writeThread.join();
    if (_readThread.joinable()) _readThread.join();
    if (_runThread.joinable()) _runThread.join();
    _pipe.reset();
}

void WebviewHost::WriteLoop() {
    while (!_stopping) {
        _webview.WaitForWork(_settings.pingInterval);
        if (_stopping) break;
        _webview.WriteToPipe(*_pipe);
    }
}

void WebviewHost::ReadLoop() {
    while (!_stopping && !_pipe->ReadEnded()) {
        try {
            _webview.ReadFromPipe(*_pipe);
        } catch (const std::out_of_range&) {
            ++_lateFrames;  // the page was closed while its frame was in flight
        }
    }
    _readEnded = true;
}

}  // namespace game

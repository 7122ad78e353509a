#include "StopSignal.h"

#include <csignal>

namespace host {

namespace {
volatile std::sig_atomic_t g_stopSignal = 0;

// A second request while the server is still stopping (saving, say) ends the process at once
// with the signal's default action: the user insists.
extern "C" void OnStopSignal(int signal) {
    if (g_stopSignal != 0) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        return;
    }
    g_stopSignal = signal;
}
}  // namespace

void InstallStopHandlers() {
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    // Restart interrupted system calls; the loop sees the flag after its sleep anyway.
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool StopRequested() { return g_stopSignal != 0; }
int StopSignal() { return g_stopSignal; }
void ClearStopRequest() { g_stopSignal = 0; }

}  // namespace host

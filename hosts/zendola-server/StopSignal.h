#pragma once

namespace host {

// Ctrl+C (SIGINT) and SIGTERM ask the server loop to stop. The handler only stores the signal
// number in a lock-free flag; the loop tests it between ticks. A second signal while the flag is
// set ends the process with the signal's default action.
void InstallStopHandlers();
bool StopRequested();
int StopSignal();  // the signal that asked, 0 if none
void ClearStopRequest();

}  // namespace host

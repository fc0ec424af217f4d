#pragma once

namespace lithmar::local::app {

// SIGINT and SIGTERM, taken as requests to stop rather than as deaths. Block
// them before starting threads (threads inherit the mask, so no thread of
// the server is interrupted), then wait for one on the main thread.
void blockStopSignals();
// Returns the signal that arrived.
int waitForStopSignal();

} // namespace lithmar::local::app

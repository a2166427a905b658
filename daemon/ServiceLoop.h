#pragma once

#include "core/service/ServiceController.h"
#include "core/system/SignalDescriptor.h"

#include <csignal>

namespace velquor {

// The stop signals qarvexd takes itself; with SIGHUP they are blocked and read from a signal
// descriptor, so a pending one is seen from anywhere in the process without a handler.
inline constexpr int stopSignalNumbers[] = {SIGTERM, SIGINT, SIGQUIT};

// Asked from inside a discovery request and before every launch: a blocked stop signal stays
// pending until the main loop reads it.
bool stopSignalPending();

// Load (with auto start), then health checks at the interval and earlier when our forwarder
// exits unasked, the machine resumes or the network changes; a reload on SIGHUP and the log
// pruned daily, until a stop signal; then stop. One ppoll waits for all of it.
void serveUntilStopSignal(ServiceController& controller, SignalDescriptor& signals);

} // namespace velquor

#pragma once

#include "core/logging/LogMirroring.h"
#include "core/service/ServiceController.h"
#include "core/system/SignalDescriptor.h"
#include "daemon/ServiceManagerNotifying.h"

#include <csignal>
#include <vector>

namespace velquor {

// The stop signals qarvexd takes itself; with SIGHUP they are blocked and read from a signal
// descriptor, so a pending one is seen from anywhere in the process without a handler.
inline constexpr int stopSignalNumbers[] = {SIGTERM, SIGINT, SIGQUIT};

// Every signal qarvexd reads from its signal descriptor: the stop signals, SIGHUP (reread the
// settings), SIGUSR1 (a health check at once), and the others a user may send whose default
// action would end the service and leave its forwarder running unmanaged; those are dropped.
// Blocked rather than ignored: children start with nothing blocked, but an ignored signal
// would stay ignored in them through exec.
std::vector<int> handledSignalNumbers();

// Asked from inside a discovery request and before every launch: a blocked stop signal stays
// pending until the main loop reads it.
bool stopSignalPending();

// Load (with auto start), then health checks at the interval and earlier when our forwarder
// exits unasked, a connection through it fails (read from forwarderErrors, the pipe socat
// writes its standard error to; -1 for none), the machine resumes, the network changes or
// SIGUSR1 asks; a failed start tried
// again with back-off, a reload on SIGHUP and the log pruned daily, until a stop signal; then
// stop. One ppoll waits for all of it. The service manager hears when it is ready, reloads and
// stops, how it is, and gets its watchdog pings from this loop; log trouble is told on
// standardError.
void serveUntilStopSignal(ServiceController& controller, SignalDescriptor& signals,
                          ServiceManagerNotifying& manager, LogMirroring& standardError,
                          int forwarderErrors);

} // namespace velquor

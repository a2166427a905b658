#pragma once

#include <cstdint>
#include <optional>

namespace velquor {

// A socat child the application started.
class SocatProcess {
public:
    SocatProcess() = default;
    virtual ~SocatProcess() = default;
    SocatProcess(const SocatProcess&) = delete;
    SocatProcess& operator=(const SocatProcess&) = delete;

    // True until the child has exited.
    virtual bool isRunning() = 0;
    // True while the running child is stopped: it holds the port but serves nobody.
    virtual bool isStopped() = 0;
    virtual std::int32_t processIdentifier() const = 0;
    // Asks the child to end with SIGTERM (and SIGCONT, so that a stopped child acts on it) and
    // returns at once; isRunning tells when it has.
    // Throws std::system_error when the signal cannot be sent.
    virtual void terminate() = 0;
    // Once the child has exited: its exit code, or 128 + the number of the signal that ended
    // it, as a shell reports it. Nothing while it runs or when its status was lost.
    virtual std::optional<int> exitStatus() = 0;
};

} // namespace velquor

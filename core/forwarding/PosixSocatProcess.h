#pragma once

#include "core/forwarding/SocatProcess.h"

namespace velquor {

// Owns an unreaped child of this process. Not thread-safe: one thread asks and terminates.
class PosixSocatProcess final : public SocatProcess {
public:
    // Throws std::invalid_argument for an identifier that is not a single process.
    explicit PosixSocatProcess(std::int32_t processIdentifier);
    // Leaves the child running: forwarding may outlive its supervisor object. A child still
    // unreaped goes to ChildReaper, so it never lingers as a zombie.
    ~PosixSocatProcess() override;

    // Reaps the child once it has exited.
    bool isRunning() override;
    bool isStopped() override;
    std::int32_t processIdentifier() const override { return m_processIdentifier; }
    // Does nothing once the child is reaped: its identifier may belong to another process by now.
    void terminate() override;
    // Lost when the child was reaped by someone else.
    std::optional<int> exitStatus() override;

private:
    std::int32_t m_processIdentifier;
    bool m_reaped = false;
    std::optional<int> m_exitStatus;
};

} // namespace velquor

#pragma once

#include "core/config/ForwarderConfig.h"
#include "core/config/TargetEndpoint.h"
#include "core/forwarding/AddressResolving.h"
#include "core/forwarding/ForwarderOwnershipChecking.h"
#include "core/forwarding/ListenerProbing.h"
#include "core/forwarding/ListenerReach.h"
#include "core/forwarding/PortChecking.h"
#include "core/forwarding/PortClaiming.h"
#include "core/forwarding/ProcessTerminating.h"
#include "core/forwarding/SocatManagerError.h"
#include "core/forwarding/SocatProcess.h"
#include "core/forwarding/SocatProcessLaunching.h"
#include "core/forwarding/SocatRuntimeStatus.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace velquor {

// Owns the forwarding child. Before a start it frees the listen port of stale socat
// processes; nothing but a socat on our own listen address is ever signalled. Every call is
// synchronous and blocks (port checks up to 1 s each, lsof runs, 0.1 s waits); it keeps no
// timer and no lock. Releasing the manager does not end the child.
class SocatManager {
public:
    // Without a listener probe socat cannot be told from other programs, and without a
    // terminator or an ownership checker no process but our own child is ever signalled.
    // Without an address resolver, hosts are resolved by the system's; without a port claim,
    // no other program is asked about the port.
    SocatManager(std::filesystem::path executableURL, std::unique_ptr<PortChecking> portChecker,
                 std::unique_ptr<SocatProcessLaunching> processLauncher,
                 std::unique_ptr<ListenerProbing> listenerProbe,
                 std::unique_ptr<ProcessTerminating> processTerminator,
                 std::unique_ptr<ForwarderOwnershipChecking> ownershipChecker = nullptr,
                 std::unique_ptr<AddressResolving> addressResolver = nullptr,
                 std::unique_ptr<PortClaiming> portClaim = nullptr);

    const std::filesystem::path& executableURL() const noexcept { return m_executableURL; }

    // The tracked child's identifier, whether or not it still runs.
    std::optional<std::int32_t> trackedProcessIdentifier() const;

    // A forwarder of ours that is stopped holds the port but serves nobody: it counts as not
    // listening, so that a health check starts a new one.
    SocatRuntimeStatus runtimeStatus(const std::string& host, std::int64_t port);

    // Returns the new child's identifier as soon as it is launched, without waiting: a child
    // that ends at once stays tracked, and is seen as a missing listener. Before anything is
    // signalled, a target that leads back to the listener is refused with
    // targetReachesListener, and a port another program claims with
    // portClaimedByAnotherProgram. A stopped tracked child is replaced.
    std::int32_t start(const ForwarderConfig& config, const TargetEndpoint& target);
    void stop();
    void stop(const std::string& host, std::int64_t port);
    // Signals the tracked child and every socat on the port; identifiers sorted, no repeats.
    std::vector<std::int32_t> stopProcesses(const std::string& host, std::int64_t port);
    std::vector<std::int32_t> stopExternalSocatProcesses(const std::string& host,
                                                         std::int64_t port);
    std::int32_t restart(const ForwarderConfig& config, const TargetEndpoint& target);

    // Our own child is forgotten even when it cannot be signalled, so that it never blocks the
    // next start; the failure is kept here for the caller to report. Returns it and clears it.
    std::optional<std::string> takeTerminationFailure();

    static constexpr int portReleaseAttempts = 10;
    static constexpr std::chrono::milliseconds portReleaseInterval{100};

private:
    bool hasRunningTrackedProcess() const;
    void terminateTrackedProcess();
    bool isForwarderOn(const ListenerProcess& process, const std::string& host, std::int64_t port);
    bool isStoppedForwarder(const ListenerProcess& process, const std::string& host,
                            std::int64_t port);
    bool terminateIfForwarderOn(std::int32_t processIdentifier, const std::string& host,
                                std::int64_t port);
    bool canTerminateExistingSocat(const std::string& host, std::int64_t port);
    void waitForPortRelease(const std::string& host, std::int64_t port);
    std::vector<std::int32_t> stopProcesses(const std::string& host, std::int64_t port,
                                            bool includeTrackedProcess);
    static std::vector<ListenerProcess> uniqueProcesses(const std::vector<ListenerProcess>& list);

    std::filesystem::path m_executableURL;
    std::unique_ptr<PortChecking> m_portChecker;
    std::unique_ptr<SocatProcessLaunching> m_processLauncher;
    std::unique_ptr<ListenerProbing> m_listenerProbe;
    std::unique_ptr<ProcessTerminating> m_processTerminator;
    std::unique_ptr<ForwarderOwnershipChecking> m_ownershipChecker;
    ListenerReach m_listenerReach;
    std::unique_ptr<PortClaiming> m_portClaim;
    std::unique_ptr<SocatProcess> m_trackedProcess;
    std::optional<std::string> m_terminationFailure;
};

} // namespace velquor

#include "core/forwarding/SocatManager.h"

#include "core/forwarding/SocatCommand.h"
#include "core/forwarding/SystemAddressResolver.h"
#include "core/net/PlainHost.h"
#include "core/process/ChildReaper.h"

#include <algorithm>
#include <set>
#include <thread>
#include <utility>

namespace velquor {

SocatManager::SocatManager(std::filesystem::path executableURL,
                           std::unique_ptr<PortChecking> portChecker,
                           std::unique_ptr<SocatProcessLaunching> processLauncher,
                           std::unique_ptr<ListenerProbing> listenerProbe,
                           std::unique_ptr<ProcessTerminating> processTerminator,
                           std::unique_ptr<ForwarderOwnershipChecking> ownershipChecker,
                           std::unique_ptr<AddressResolving> addressResolver,
                           std::unique_ptr<PortClaiming> portClaim)
    : m_executableURL(std::move(executableURL)), m_portChecker(std::move(portChecker)),
      m_processLauncher(std::move(processLauncher)), m_listenerProbe(std::move(listenerProbe)),
      m_processTerminator(std::move(processTerminator)),
      m_ownershipChecker(std::move(ownershipChecker)),
      m_listenerReach(addressResolver ? std::move(addressResolver)
                                      : std::make_unique<SystemAddressResolver>()),
      m_portClaim(std::move(portClaim)) {}

std::optional<std::int32_t> SocatManager::trackedProcessIdentifier() const {
    if (!m_trackedProcess) {
        return std::nullopt;
    }
    return m_trackedProcess->processIdentifier();
}

bool SocatManager::hasRunningTrackedProcess() const {
    return m_trackedProcess && m_trackedProcess->isRunning();
}

SocatRuntimeStatus SocatManager::runtimeStatus(const std::string& host, std::int64_t port) {
    // Every controller operation ends with this look, so a released child is reaped within one.
    ChildReaper::reapAdopted();
    if (hasRunningTrackedProcess()) {
        return m_trackedProcess->isStopped()
                   ? SocatRuntimeStatus::notListening()
                   : SocatRuntimeStatus::trackedSocat(m_trackedProcess->processIdentifier());
    }
    if (m_listenerProbe) {
        if (const auto listener = m_listenerProbe->listener(host, port)) {
            if (!listener->isSocat()) {
                return SocatRuntimeStatus::occupiedByUnknownProcess(listener->commandName,
                                                                    listener->processIdentifier);
            }
            return isStoppedForwarder(*listener, host, port)
                       ? SocatRuntimeStatus::notListening()
                       : SocatRuntimeStatus::externalSocat(listener->processIdentifier);
        }
    }
    if (m_portChecker->isListening(host, port)) {
        return SocatRuntimeStatus::occupiedByUnknownProcess("unknown", 0);
    }
    return SocatRuntimeStatus::notListening();
}

std::int32_t SocatManager::start(const ForwarderConfig& config, const TargetEndpoint& target) {
    const auto& host = config.listenHost;
    const auto port = config.listenPort;
    ChildReaper::reapAdopted();
    if (hasRunningTrackedProcess() && !m_trackedProcess->isStopped()) {
        throw SocatManagerError::processAlreadyRunning();
    }
    // Refused before anything is signalled: the forwarder in place stays.
    const SocatCommand command(m_executableURL, host, port, target);
    m_listenerReach.refuseTargetReachingListener(socatHost(host), port, target);
    if (m_portClaim) {
        m_portClaim->claim(port);
    }
    if (hasRunningTrackedProcess()) {
        terminateTrackedProcess();
        waitForPortRelease(host, port);
    }
    if (m_portChecker->isListening(host, port)) {
        if (!canTerminateExistingSocat(host, port)) {
            throw SocatManagerError::portOccupiedByUnknownProcess(host, port);
        }
        try {
            stopProcesses(host, port, true);
            waitForPortRelease(host, port);
        } catch (const SocatManagerError& error) {
            // Nothing on the port proved ours at the moment of the signal: the check below
            // refuses the port.
            if (error.kind() != SocatManagerError::Kind::noTrackedProcess) {
                throw;
            }
        }
    }
    // Checked again in every case: a stale socat may have refused to go, or another program
    // may have taken the port in the meantime.
    if (m_portChecker->isListening(host, port)) {
        throw SocatManagerError::portOccupiedByUnknownProcess(host, port);
    }
    m_trackedProcess = m_processLauncher->launch(command);
    return m_trackedProcess->processIdentifier();
}

void SocatManager::terminateTrackedProcess() {
    try {
        m_trackedProcess->terminate();
    } catch (const std::exception& error) {
        m_terminationFailure = error.what();
    }
    m_trackedProcess.reset();
}

std::optional<std::string> SocatManager::takeTerminationFailure() {
    return std::exchange(m_terminationFailure, std::nullopt);
}

void SocatManager::stop() {
    if (!m_trackedProcess) {
        throw SocatManagerError::noTrackedProcess();
    }
    terminateTrackedProcess();
}

void SocatManager::stop(const std::string& host, std::int64_t port) {
    stopProcesses(host, port, true);
}

std::vector<std::int32_t> SocatManager::stopProcesses(const std::string& host, std::int64_t port) {
    return stopProcesses(host, port, true);
}

std::vector<std::int32_t> SocatManager::stopExternalSocatProcesses(const std::string& host,
                                                                   std::int64_t port) {
    return stopProcesses(host, port, false);
}

std::int32_t SocatManager::restart(const ForwarderConfig& config, const TargetEndpoint& target) {
    if (m_trackedProcess) {
        terminateTrackedProcess();
    }
    return start(config, target);
}

bool SocatManager::canTerminateExistingSocat(const std::string& host, std::int64_t port) {
    if (!m_listenerProbe || !m_processTerminator || !m_ownershipChecker) {
        return false;
    }
    std::vector<ListenerProcess> processes;
    try {
        processes = m_listenerProbe->processes(host, port);
    } catch (const std::exception&) {
        // Asked only out of caution: what cannot be seen is not terminated.
    }
    return std::any_of(processes.begin(), processes.end(), [&](const ListenerProcess& process) {
        return isForwarderOn(process, host, port);
    });
}

// lsof's name is only a first sieve: it also lists look-alike names, clients connected to the
// port and listeners on other addresses of it.
bool SocatManager::isForwarderOn(const ListenerProcess& process, const std::string& host,
                                 std::int64_t port) {
    return process.isSocat() &&
           m_ownershipChecker->forwarderIdentity(process.processIdentifier, host, port);
}

bool SocatManager::isStoppedForwarder(const ListenerProcess& process, const std::string& host,
                                      std::int64_t port) {
    if (!m_ownershipChecker) {
        return false;
    }
    const auto identity =
        m_ownershipChecker->forwarderIdentity(process.processIdentifier, host, port);
    return identity && m_ownershipChecker->isStopped(*identity);
}

bool SocatManager::terminateIfForwarderOn(std::int32_t processIdentifier, const std::string& host,
                                          std::int64_t port) {
    const auto identity = m_ownershipChecker->forwarderIdentity(processIdentifier, host, port);
    // Confirmed once more at the last moment: the identifier may have passed to another
    // process since it was inspected.
    if (!identity || !m_ownershipChecker->isStillForwarder(*identity)) {
        return false;
    }
    m_processTerminator->terminate(processIdentifier);
    return true;
}

void SocatManager::waitForPortRelease(const std::string& host, std::int64_t port) {
    for (int attempt = 0; attempt < portReleaseAttempts; ++attempt) {
        bool listening = true;
        try {
            listening = m_portChecker->isListening(host, port);
        } catch (const std::exception&) {
        }
        if (!listening) {
            return;
        }
        std::this_thread::sleep_for(portReleaseInterval);
    }
}

std::vector<std::int32_t> SocatManager::stopProcesses(const std::string& host, std::int64_t port,
                                                      bool includeTrackedProcess) {
    std::set<std::int32_t> signalled;
    if (includeTrackedProcess && m_trackedProcess) {
        signalled.insert(m_trackedProcess->processIdentifier());
        terminateTrackedProcess();
    }
    if (m_listenerProbe && m_processTerminator && m_ownershipChecker) {
        std::vector<ListenerProcess> socats;
        for (const auto& process : m_listenerProbe->processes(host, port)) {
            if (process.isSocat()) {
                socats.push_back(process);
            }
        }
        for (const auto& process : uniqueProcesses(socats)) {
            const auto pid = process.processIdentifier;
            if (signalled.count(pid) == 0 && terminateIfForwarderOn(pid, host, port)) {
                signalled.insert(pid);
            }
        }
    }
    if (signalled.empty()) {
        throw SocatManagerError::noTrackedProcess();
    }
    return {signalled.begin(), signalled.end()};
}

std::vector<ListenerProcess>
SocatManager::uniqueProcesses(const std::vector<ListenerProcess>& list) {
    std::vector<ListenerProcess> result;
    std::set<std::int32_t> seen;
    for (const auto& process : list) {
        if (seen.insert(process.processIdentifier).second) {
            result.push_back(process);
        }
    }
    return result;
}

} // namespace velquor

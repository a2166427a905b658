#include "core/forwarding/SocatManager.h"

#include "core/forwarding/SocatCommand.h"

#include <algorithm>
#include <set>
#include <thread>

namespace velquor {

SocatManager::SocatManager(std::filesystem::path executableURL,
                           std::unique_ptr<PortChecking> portChecker,
                           std::unique_ptr<SocatProcessLaunching> processLauncher,
                           std::unique_ptr<ListenerProbing> listenerProbe,
                           std::unique_ptr<ProcessTerminating> processTerminator)
    : m_executableURL(std::move(executableURL)), m_portChecker(std::move(portChecker)),
      m_processLauncher(std::move(processLauncher)), m_listenerProbe(std::move(listenerProbe)),
      m_processTerminator(std::move(processTerminator)) {}

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
    if (hasRunningTrackedProcess()) {
        return SocatRuntimeStatus::trackedSocat(m_trackedProcess->processIdentifier());
    }
    if (m_listenerProbe) {
        if (const auto listener = m_listenerProbe->listener(host, port)) {
            return listener->isSocat()
                       ? SocatRuntimeStatus::externalSocat(listener->processIdentifier)
                       : SocatRuntimeStatus::occupiedByUnknownProcess(listener->commandName,
                                                                      listener->processIdentifier);
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
    if (hasRunningTrackedProcess()) {
        throw SocatManagerError::processAlreadyRunning();
    }
    if (m_portChecker->isListening(host, port)) {
        if (!canTerminateExistingSocat(host, port)) {
            throw SocatManagerError::portOccupiedByUnknownProcess(host, port);
        }
        stopProcesses(host, port, true);
        waitForPortRelease(host, port);
    }
    // Checked again in every case: a stale socat may have refused to go, or another program
    // may have taken the port in the meantime.
    if (m_portChecker->isListening(host, port)) {
        throw SocatManagerError::portOccupiedByUnknownProcess(host, port);
    }
    const SocatCommand command(m_executableURL, host, port, target);
    auto process = m_processLauncher->launch(command);
    m_trackedProcess = std::move(process);
    return m_trackedProcess->processIdentifier();
}

void SocatManager::stop() {
    if (!m_trackedProcess) {
        throw SocatManagerError::noTrackedProcess();
    }
    m_trackedProcess->terminate();
    m_trackedProcess.reset();
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
        m_trackedProcess->terminate();
        m_trackedProcess.reset();
    }
    return start(config, target);
}

bool SocatManager::canTerminateExistingSocat(const std::string& host, std::int64_t port) {
    if (!m_listenerProbe || !m_processTerminator) {
        return false;
    }
    std::vector<ListenerProcess> processes;
    try {
        processes = m_listenerProbe->processes(host, port);
    } catch (const std::exception&) {
        // Asked only out of caution: what cannot be seen is not terminated.
    }
    return std::any_of(processes.begin(), processes.end(),
                       [](const ListenerProcess& process) { return process.isSocat(); });
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
        m_trackedProcess->terminate();
        m_trackedProcess.reset();
    }
    if (m_listenerProbe && m_processTerminator) {
        std::vector<ListenerProcess> socats;
        for (const auto& process : m_listenerProbe->processes(host, port)) {
            if (process.isSocat()) {
                socats.push_back(process);
            }
        }
        for (const auto& process : uniqueProcesses(socats)) {
            if (signalled.insert(process.processIdentifier).second) {
                m_processTerminator->terminate(process.processIdentifier);
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

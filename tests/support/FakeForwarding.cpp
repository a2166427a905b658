#include "tests/support/FakeForwarding.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace velquor::test {

std::int32_t FakeMachine::spawn(const std::string& name, std::int64_t port, bool listening) {
    const auto pid = m_nextPid++;
    m_processes[pid] = {name, port, listening};
    return pid;
}

void FakeMachine::kill(std::int32_t pid) {
    m_processes.erase(pid);
}

bool FakeMachine::isListening(std::int64_t port) const {
    return !processesOn(port, true).empty();
}

std::vector<ListenerProcess> FakeMachine::processesOn(std::int64_t port, bool listeningOnly) const {
    std::vector<ListenerProcess> result;
    for (const auto& [pid, process] : m_processes) {
        if (process.port == port && (process.listening || !listeningOnly)) {
            result.push_back({process.name, pid});
        }
    }
    return result;
}

std::vector<std::int32_t> FakeMachine::socatPids() const {
    std::vector<std::int32_t> result;
    for (const auto& [pid, process] : m_processes) {
        if (process.name == "socat") {
            result.push_back(pid);
        }
    }
    return result;
}

void FakeMachine::signal(std::int32_t pid) {
    events.push_back("SIGTERM " + std::to_string(pid));
    if (foreign.count(pid) != 0) {
        throw std::system_error(EPERM, std::generic_category(),
                                "terminating process " + std::to_string(pid));
    }
    if (stubborn.count(pid) == 0) {
        m_processes.erase(pid);
    }
}

bool FakePortChecker::isListening(const std::string&, std::int64_t port) {
    ++m_machine.portChecks;
    if (m_machine.checkerFails) {
        throw std::runtime_error("port check failed");
    }
    return m_machine.isListening(port);
}

std::optional<ListenerProcess> FakeListenerProbe::listener(const std::string&, std::int64_t port) {
    if (m_machine.probeFails) {
        throw std::system_error(ENOENT, std::generic_category(), "launching /usr/bin/lsof");
    }
    const auto listeners = m_machine.processesOn(port, true);
    return listeners.empty() ? std::nullopt : std::optional(listeners.front());
}

std::vector<ListenerProcess> FakeListenerProbe::processes(const std::string&, std::int64_t port) {
    if (m_machine.probeFails) {
        throw std::system_error(ENOENT, std::generic_category(), "launching /usr/bin/lsof");
    }
    return m_machine.processesOn(port, false);
}

void FakeSocatProcess::terminate() {
    m_machine.signal(m_pid);
}

std::optional<int> FakeSocatProcess::exitStatus() {
    const auto found = m_machine.exitStatuses.find(m_pid);
    return found == m_machine.exitStatuses.end() ? std::nullopt : std::optional(found->second);
}

std::unique_ptr<SocatProcess> FakeSocatLauncher::launch(const SocatCommand& command) {
    if (m_machine.launchFails) {
        throw std::system_error(ENOENT, std::generic_category(),
                                "launching " + command.executableURL.string());
    }
    // "TCP-LISTEN:<port>,bind=…"
    const auto& listen = command.arguments.at(0);
    const auto port = std::stoll(listen.substr(listen.find(':') + 1));
    const auto pid = m_machine.spawn("socat", port);
    m_machine.launched.push_back(command);
    m_machine.events.push_back("launch " + std::to_string(pid));
    if (m_machine.launchExitStatus) {
        m_machine.exitStatuses[pid] = *m_machine.launchExitStatus;
        m_machine.kill(pid);
    }
    return std::make_unique<FakeSocatProcess>(m_machine, pid);
}

void FakeProcessTerminator::terminate(std::int32_t processIdentifier) {
    if (m_machine.isAlive(processIdentifier) || m_machine.foreign.count(processIdentifier)) {
        m_machine.signal(processIdentifier);
    }
}

std::optional<ProcessIdentity>
FakeOwnershipChecker::forwarderIdentity(std::int32_t processIdentifier, const std::string&,
                                        std::int64_t port) {
    const auto on = m_machine.processesOn(port, false);
    const bool socatOnPort =
        std::find(on.begin(), on.end(), ListenerProcess{"socat", processIdentifier}) != on.end();
    if (!socatOnPort || m_machine.elsewhere.count(processIdentifier) != 0) {
        return std::nullopt;
    }
    return ProcessIdentity{processIdentifier, 1};
}

bool FakeOwnershipChecker::isStillForwarder(const ProcessIdentity& identity) {
    return m_machine.isAlive(identity.processIdentifier) &&
           m_machine.reused.count(identity.processIdentifier) == 0;
}

std::unique_ptr<SocatManager> makeFakeSocatManager(FakeMachine& machine) {
    return std::make_unique<SocatManager>(
        "/usr/bin/socat", std::make_unique<FakePortChecker>(machine),
        std::make_unique<FakeSocatLauncher>(machine), std::make_unique<FakeListenerProbe>(machine),
        std::make_unique<FakeProcessTerminator>(machine),
        std::make_unique<FakeOwnershipChecker>(machine));
}

} // namespace velquor::test

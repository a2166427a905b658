#include "tests/support/FakeForwarding.h"

#include <cerrno>
#include <system_error>

namespace velquor::test {

namespace {

class FakeSocatProcess : public SocatProcess {
public:
    FakeSocatProcess(FakeMachine& machine, std::int32_t pid, std::optional<int> exitStatus)
        : m_machine(machine), m_pid(pid), m_exitStatus(exitStatus) {}
    bool isRunning() override { return m_machine.isAlive(m_pid); }
    bool isStopped() override { return false; }
    std::int32_t processIdentifier() const override { return m_pid; }
    void terminate() override { m_machine.signal(m_pid); }
    std::optional<int> exitStatus() override { return m_exitStatus; }

private:
    FakeMachine& m_machine;
    std::int32_t m_pid;
    std::optional<int> m_exitStatus;
};

} // namespace

std::int32_t FakeMachine::spawn(const std::string& name, std::int64_t port, bool listening) {
    const auto pid = m_nextPid++;
    m_processes[pid] = {name, port, listening};
    return pid;
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
        m_machine.kill(pid);
    }
    return std::make_unique<FakeSocatProcess>(m_machine, pid, m_machine.launchExitStatus);
}

std::vector<IpAddress> FakeAddressResolver::addresses(const std::string& host) {
    const auto listed = m_names.find(host);
    return addresses(listed == m_names.end() ? std::vector{host} : listed->second);
}

std::vector<IpAddress> FakeAddressResolver::addresses(const std::vector<std::string>& literals) {
    std::vector<IpAddress> result;
    for (const auto& literal : literals) {
        if (const auto address = ipAddressOf(literal)) {
            result.push_back(*address);
        }
    }
    return result;
}

std::unique_ptr<SocatManager> makeFakeSocatManager(FakeMachine& machine,
                                                   std::unique_ptr<AddressResolving> resolver) {
    if (!resolver) {
        resolver = std::make_unique<FakeAddressResolver>();
    }
    return std::make_unique<SocatManager>(
        "/usr/bin/socat", std::make_unique<FakePortChecker>(machine),
        std::make_unique<FakeSocatLauncher>(machine), std::make_unique<FakeListenerProbe>(machine),
        std::make_unique<FakeProcessTerminator>(machine),
        std::make_unique<FakeOwnershipChecker>(machine), std::move(resolver));
}

} // namespace velquor::test

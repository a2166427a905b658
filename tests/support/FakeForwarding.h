#pragma once

#include "core/forwarding/ListenerProbing.h"
#include "core/forwarding/PortChecking.h"
#include "core/forwarding/SocatManager.h"
#include "core/forwarding/SocatProcessLaunching.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace velquor::test {

// A pretend machine for the forwarding code: processes that hold ports, a socat launcher
// whose children listen at once, and signals that end socat processes (unless told to be
// stubborn). Shared by reference between the doubles and the test that inspects it.
class FakeMachine {
public:
    struct Process {
        std::string name;
        std::int64_t port;
        bool listening; // false: only holds a connection on the port
    };

    std::int32_t spawn(const std::string& name, std::int64_t port, bool listening = true);
    void signal(std::int32_t pid); // SIGTERM: a socat goes unless stubborn or foreign
    void kill(std::int32_t pid) { m_processes.erase(pid); } // ends it as if from outside
    bool isAlive(std::int32_t pid) const { return m_processes.count(pid) != 0; }
    bool isListening(std::int64_t port) const { return !processesOn(port, true).empty(); }
    std::vector<ListenerProcess> processesOn(std::int64_t port, bool listeningOnly) const;
    std::vector<std::int32_t> socatPids() const;

    // Knobs for failures.
    bool probeFails = false;         // the listener probe throws
    bool checkerFails = false;       // the port checker throws
    bool launchFails = false;        // the launcher throws
    std::set<std::int32_t> stubborn; // ignore SIGTERM
    std::set<std::int32_t> foreign;  // SIGTERM fails with EPERM
    // Named socat but not ours: clients of the port, listeners on another of its addresses.
    std::set<std::int32_t> elsewhere;
    std::set<std::int32_t> reused;       // identifier taken by another process after inspection
    std::optional<int> launchExitStatus; // launched children end at once with this status

    // What happened, in order.
    std::vector<std::string> events;
    std::vector<SocatCommand> launched;
    int portChecks = 0;

private:
    std::map<std::int32_t, Process> m_processes;
    std::int32_t m_nextPid = 4242;
};

class FakePortChecker : public PortChecking {
public:
    explicit FakePortChecker(FakeMachine& machine) : m_machine(machine) {}
    bool isListening(const std::string& host, std::int64_t port) override;

private:
    FakeMachine& m_machine;
};

class FakeSocatLauncher : public SocatProcessLaunching {
public:
    explicit FakeSocatLauncher(FakeMachine& machine) : m_machine(machine) {}
    std::unique_ptr<SocatProcess> launch(const SocatCommand& command) override;

private:
    FakeMachine& m_machine;
};

class FakeListenerProbe : public ListenerProbing {
public:
    explicit FakeListenerProbe(FakeMachine& machine) : m_machine(machine) {}
    std::optional<ListenerProcess> listener(const std::string&, std::int64_t port) override {
        failIfProbeFails();
        const auto listeners = m_machine.processesOn(port, true);
        return listeners.empty() ? std::nullopt : std::optional(listeners.front());
    }
    std::vector<ListenerProcess> processes(const std::string&, std::int64_t port) override {
        failIfProbeFails();
        return m_machine.processesOn(port, false);
    }

private:
    void failIfProbeFails() const {
        if (m_machine.probeFails) {
            throw std::system_error(ENOENT, std::generic_category(), "launching /usr/bin/lsof");
        }
    }

    FakeMachine& m_machine;
};

class FakeProcessTerminator : public ProcessTerminating {
public:
    explicit FakeProcessTerminator(FakeMachine& machine) : m_machine(machine) {}
    void terminate(std::int32_t pid) override {
        if (m_machine.isAlive(pid) || m_machine.foreign.count(pid)) {
            m_machine.signal(pid);
        }
    }

private:
    FakeMachine& m_machine;
};

// A socat on the port counts as ours unless it is listed elsewhere; a reused one fails the
// confirmation.
class FakeOwnershipChecker : public ForwarderOwnershipChecking {
public:
    explicit FakeOwnershipChecker(FakeMachine& machine) : m_machine(machine) {}
    std::optional<ProcessIdentity> forwarderIdentity(std::int32_t pid, const std::string&,
                                                     std::int64_t port) override {
        const auto on = m_machine.processesOn(port, false);
        const bool socatOnPort =
            std::find(on.begin(), on.end(), ListenerProcess{"socat", pid}) != on.end();
        if (!socatOnPort || m_machine.elsewhere.count(pid) != 0) {
            return std::nullopt;
        }
        return ProcessIdentity{pid, 1};
    }
    bool isStillForwarder(const ProcessIdentity& identity) override {
        return m_machine.isAlive(identity.processIdentifier) &&
               m_machine.reused.count(identity.processIdentifier) == 0;
    }
    bool isStopped(const ProcessIdentity&) override { return false; }

private:
    FakeMachine& m_machine;
};

// Names resolve as listed, literals to what they write, anything else to nothing.
class FakeAddressResolver : public AddressResolving {
public:
    explicit FakeAddressResolver(std::map<std::string, std::vector<std::string>> names = {},
                                 std::vector<std::string> interfaces = {})
        : m_names(std::move(names)), m_interfaces(std::move(interfaces)) {}
    std::vector<IpAddress> addresses(const std::string& host) override;
    std::vector<IpAddress> interfaceAddresses() override { return addresses(m_interfaces); }

private:
    static std::vector<IpAddress> addresses(const std::vector<std::string>& literals);

    std::map<std::string, std::vector<std::string>> m_names;
    std::vector<std::string> m_interfaces;
};

// A SocatManager wired to the machine with all six doubles; the resolver knows literals only.
std::unique_ptr<SocatManager>
makeFakeSocatManager(FakeMachine& machine, std::unique_ptr<AddressResolving> resolver = nullptr);

} // namespace velquor::test

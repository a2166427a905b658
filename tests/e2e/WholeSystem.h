#pragma once

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velquor::test {

// Why the whole-system tests cannot run here, or nothing when they can: tgtd needs root and
// the real tools must be installed.
std::optional<std::string> wholeSystemUnavailableReason();

// A real iSCSI target: tgtd with one file-backed LUN, on 127.0.0.1 at a free port.
class IscsiTarget {
public:
    IscsiTarget(const TemporaryDirectory& folder, std::string iqn, std::int64_t lunMegabytes);
    ~IscsiTarget();
    IscsiTarget(const IscsiTarget&) = delete;
    IscsiTarget& operator=(const IscsiTarget&) = delete;

    std::int64_t port() const noexcept { return m_port; }
    const std::string& iqn() const noexcept { return m_iqn; }
    std::int32_t pid() const noexcept { return m_pid; }

private:
    void administer(const std::vector<std::string>& arguments) const;

    std::string m_iqn;
    std::int64_t m_port;
    std::int64_t m_controlPort;
    std::int32_t m_pid = -1;
};

// What iscsi-inq printed when asked for LUN 1 of the target at 127.0.0.1:port; throws with
// its output when it fails.
std::string iscsiInquiry(std::int64_t port, const std::string& iqn);

// qarvexd (or another of our programs) with HOME and TMPDIR set to a folder of the test's, its
// output in program.out there; killed and reaped if the test leaves it.
class DaemonProcess {
public:
    explicit DaemonProcess(const std::filesystem::path& home,
                           const std::filesystem::path& program = QARVEXD_PATH);
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    std::int32_t pid() const noexcept { return m_pid; }
    // SIGTERM, then waits for the exit; the exit status, or nothing if it did not end in time.
    std::optional<int> terminate(std::chrono::seconds deadline = std::chrono::seconds(15));
    // Waits for an exit of its own.
    std::optional<int> waitForExit(std::chrono::seconds deadline);

private:
    std::int32_t m_pid = -1;
};

} // namespace velquor::test

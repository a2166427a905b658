#pragma once

#include "support/harness/ChildProcess.h"
#include "support/harness/IscsiTarget.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace velquor::test {

// Why the whole-system tests that start tgtd cannot run here, or nothing when they can: tgtd
// needs root and the real tools must be installed.
std::optional<std::string> wholeSystemUnavailableReason();
// Why those that need no iSCSI target cannot run here (any user may run them): a missing tool.
std::optional<std::string> forwardingToolsUnavailableReason();

// How often part occurs in text (a log, a program's output), overlapping ones counted.
std::size_t occurrences(const std::string& text, const std::string& part);

// The shared tgtd harness, with its LUN file in a folder of the test's.
class IscsiTarget : public harness::IscsiTarget {
public:
    IscsiTarget(const TemporaryDirectory& folder, std::string iqn, std::int64_t lunMegabytes)
        : harness::IscsiTarget(folder.path(), std::move(iqn), lunMegabytes) {}
};

// What iscsi-inq printed when asked for LUN 1 of the target at 127.0.0.1:port; throws with
// its output when it fails.
std::string iscsiInquiry(std::int64_t port, const std::string& iqn);

// qarvexd (or another of our programs) with HOME and TMPDIR set to a folder of the test's, its
// output in program.out there; killed and reaped if the test leaves it.
class DaemonProcess {
public:
    explicit DaemonProcess(const std::filesystem::path& home,
                           const std::filesystem::path& program = QARVEXD_PATH,
                           const std::vector<std::string>& arguments = {});

    std::int32_t pid() const noexcept { return m_process->pid(); }
    // SIGTERM, then waits for the exit; the exit status, or nothing if it did not end in time.
    std::optional<int> terminate(std::chrono::seconds deadline = std::chrono::seconds(60));
    // Waits for an exit of its own.
    std::optional<int> waitForExit(std::chrono::seconds deadline);

private:
    std::unique_ptr<harness::ChildProcess> m_process;
};

} // namespace velquor::test

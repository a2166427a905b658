#pragma once

#include "support/harness/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace velquor::harness {

// A real iSCSI target: tgtd with one file-backed LUN, on 127.0.0.1 at a free port. tgtd needs
// root; it is killed, and its control socket removed, when the target is released.
class IscsiTarget {
public:
    // The LUN is a sparse file in the folder, so reads come from memory and the benchmark's
    // figures are those of the network path rather than of the disk.
    IscsiTarget(const std::filesystem::path& folder, std::string iqn, std::int64_t lunMegabytes);
    ~IscsiTarget();
    IscsiTarget(const IscsiTarget&) = delete;
    IscsiTarget& operator=(const IscsiTarget&) = delete;

    std::int64_t port() const noexcept { return m_port; }
    const std::string& iqn() const noexcept { return m_iqn; }
    std::int32_t pid() const noexcept { return m_process->pid(); }
    // LUN 1 of this target as reached through 127.0.0.1:port, which may be a forwarder.
    std::string lunUrl(std::int64_t port) const;

private:
    void administer(const std::vector<std::string>& arguments) const;
    void removeControlSocket() const noexcept;

    std::string m_iqn;
    std::int64_t m_port;
    std::int64_t m_controlPort;
    std::unique_ptr<ChildProcess> m_process;
};

} // namespace velquor::harness

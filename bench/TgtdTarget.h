#pragma once

#include "bench/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace velquor::bench {

// A real iSCSI target: tgtd with one file-backed LUN, on 127.0.0.1 at a free port.
class TgtdTarget {
public:
    // The LUN is a sparse file, so reads come from memory and the figures are those of the
    // network path rather than of the disk.
    TgtdTarget(const std::filesystem::path& folder, std::string iqn, std::int64_t lunMegabytes);
    ~TgtdTarget();
    TgtdTarget(const TgtdTarget&) = delete;
    TgtdTarget& operator=(const TgtdTarget&) = delete;

    std::int64_t port() const noexcept { return m_port; }
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

} // namespace velquor::bench

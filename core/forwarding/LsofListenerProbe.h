#pragma once

#include "core/forwarding/ListenerProbing.h"

#include <chrono>
#include <filesystem>

namespace velquor {

// Asks lsof which processes hold a TCP port.
class LsofListenerProbe : public ListenerProbing {
public:
    static constexpr std::chrono::milliseconds defaultTimeout{10000};

    explicit LsofListenerProbe(std::filesystem::path lsofURL,
                               std::chrono::milliseconds timeout = defaultTimeout);

    const std::filesystem::path& lsofURL() const noexcept { return m_lsofURL; }
    std::chrono::milliseconds timeout() const noexcept { return m_timeout; }

    // /usr/sbin/lsof where that is executable, else /usr/bin/lsof (Debian's place).
    static std::filesystem::path defaultLsofPath();

    // Nothing when lsof finds nothing, fails, or prints text that is not UTF-8. Throws
    // std::system_error when lsof cannot be started ("launching <path>") or does not finish
    // within the timeout (ETIMEDOUT; it is killed).
    std::optional<ListenerProcess> listener(const std::string& host, std::int64_t port) override;
    std::vector<ListenerProcess> processes(const std::string& host, std::int64_t port) override;

    // Reads lsof's default listing. The host is checked only for 127.0.0.1, the one bind
    // address for which a wildcard listener must not be taken for ours; for any other host a
    // line matching the port is enough.
    static std::optional<ListenerProcess>
    parse(const std::string& output, const std::string& expectedHost, std::int64_t expectedPort);
    // As parse, but every matching line in order, listening or not, repeats kept.
    static std::vector<ListenerProcess> parseProcesses(const std::string& output,
                                                       const std::string& expectedHost,
                                                       std::int64_t expectedPort);

private:
    std::optional<std::string> run(std::vector<std::string> arguments, std::int64_t port) const;

    std::filesystem::path m_lsofURL;
    std::chrono::milliseconds m_timeout;
};

} // namespace velquor

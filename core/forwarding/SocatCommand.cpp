#include "core/forwarding/SocatCommand.h"

#include "core/config/ForwarderConfig.h"
#include "core/net/PlainHost.h"

namespace velquor {

SocatCommand::SocatCommand(std::filesystem::path executableURL, const std::string& listenHost,
                           std::int64_t listenPort, const TargetEndpoint& target)
    : executableURL(std::move(executableURL)) {
    ForwarderConfig::validateListenPort(listenPort);
    const auto bindHost = socatHost(listenHost);
    if (!isPlainHost(bindHost)) {
        throw ForwarderConfig::ValidationError::invalidListenHost(listenHost);
    }
    (void)target.validated();
    // socat's TCP-LISTEN listens on IPv4 unless told otherwise, even when bound to [::1].
    const std::string family = isBracketedIPv6(bindHost) ? ",pf=ip6" : "";
    // fork: every initiator connection gets its own relay, so a reconnect never waits for
    // the previous session to end.
    arguments = {
        "TCP-LISTEN:" + std::to_string(listenPort) + ",bind=" + bindHost + family +
            ",reuseaddr,fork",
        "TCP:" + target.host() + ":" + std::to_string(target.port()) + ",nodelay,keepalive",
    };
}

} // namespace velquor

#include "core/forwarding/SocatCommand.h"

#include "core/config/ForwarderConfig.h"
#include "core/net/PlainHost.h"

namespace velquor {

namespace {

// The same port on the same host, or on an address that reaches every listener of this
// machine. A name that merely resolves to this machine is not seen here.
bool isListenAddress(const TargetEndpoint& target, const std::string& listenHost,
                     std::int64_t listenPort) {
    return target.port() == listenPort &&
           (isSameHost(target.host(), listenHost) || isLoopbackOrWildcard(target.host()));
}

} // namespace

SocatCommand::SocatCommand(std::filesystem::path executableURL, const std::string& listenHost,
                           std::int64_t listenPort, const TargetEndpoint& target)
    : executableURL(std::move(executableURL)) {
    ForwarderConfig::validateListenPort(listenPort);
    ForwarderConfig::validateListenHost(listenHost);
    (void)target.validated();
    if (isListenAddress(target, listenHost, listenPort)) {
        throw ForwarderConfig::ValidationError::targetIsListenAddress(target.host(), target.port());
    }
    // socat's TCP-LISTEN listens on IPv4 unless told otherwise, even when bound to [::1].
    const std::string family = isBracketedIPv6(listenHost) ? ",pf=ip6" : "";
    // fork: every initiator connection gets its own relay, so a reconnect never waits for
    // the previous session to end.
    arguments = {
        "TCP-LISTEN:" + std::to_string(listenPort) + ",bind=" + listenHost + family +
            ",reuseaddr,fork",
        "TCP:" + target.host() + ":" + std::to_string(target.port()) + ",nodelay,keepalive",
    };
}

} // namespace velquor

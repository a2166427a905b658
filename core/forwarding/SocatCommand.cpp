#include "core/forwarding/SocatCommand.h"

#include "core/config/ForwarderConfig.h"

namespace velquor {

SocatCommand::SocatCommand(std::filesystem::path executableURL, const std::string& listenHost,
                           std::int64_t listenPort, const TargetEndpoint& target)
    : executableURL(std::move(executableURL)) {
    ForwarderConfig::validateListenPort(listenPort);
    // fork: every initiator connection gets its own relay, so a reconnect never waits for
    // the previous session to end.
    arguments = {
        "TCP-LISTEN:" + std::to_string(listenPort) + ",bind=" + listenHost + ",reuseaddr,fork",
        "TCP:" + target.host() + ":" + std::to_string(target.port()) + ",nodelay,keepalive",
    };
}

} // namespace velquor

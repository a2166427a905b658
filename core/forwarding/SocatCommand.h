#pragma once

#include "core/config/TargetEndpoint.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace velquor {

// The socat invocation that listens on the local port and relays each connection to the target.
struct SocatCommand {
    std::filesystem::path executableURL;
    std::vector<std::string> arguments;

    // The gate before socat's command line: the configuration and a cached target are stored
    // as written, so their hosts are checked here. Throws ForwarderConfig::ValidationError for
    // a listen port outside 1024..65535 or a listen host that is not plain (a bare IPv6 literal
    // is put in brackets first); TargetEndpoint::ValidationError for a target that is not valid.
    // Whether the target leads back to the listener takes resolving names: see ListenerReach.
    SocatCommand(std::filesystem::path executableURL, const std::string& listenHost,
                 std::int64_t listenPort, const TargetEndpoint& target);

    bool operator==(const SocatCommand&) const = default;
};

} // namespace velquor

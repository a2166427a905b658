#pragma once

#include <string>
#include <vector>

namespace velquor::test {

// Hosts that socat would read as more than a host, or that name no host at all: each must be
// refused wherever a host can reach its command line. None has blanks at either end, so a
// trimming reader refuses the same text.
inline const std::vector<std::string>& hostileHosts() {
    static const std::vector<std::string> hosts = {
        "127.0.0.1:18083!!SYSTEM:touch /tmp/x;true {",
        "127.0.0.1,fork",
        std::string("127.0.0.1\0,fork", 15),
        "a,b",
        "h!x",
        "1.2.3.4:5",
        "::1", // an IPv6 literal needs its brackets (a listen host gets them)
        "h x",
        "h\nx",
        "h\tx",
        "\"h\"",
        "'h'",
        "h;x",
        "h{x}",
        "h\\x",
        "h/x",
        "h%2Cfork",
        "h\x7F",
        "h\xC3\xBF",
        "-h",
        "a..b",
        ".",
        "[::1",
        "::1]",
        "[::1,fork]",
        "[::1]:1",
        "[fe80::1%eth0]",
        "[]",
        "[h]",
        std::string("[::1\0,fork]", 11),
        std::string(254, 'a'),
        std::string(64, 'a') + ".example",
    };
    return hosts;
}

} // namespace velquor::test

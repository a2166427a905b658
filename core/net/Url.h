#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// An absolute URL, parsed once with libcurl's URL API. The one URL parser of the system.
struct Url {
    std::string scheme;               // lower case, e.g. "http"
    std::optional<std::string> host;  // as written; IPv6 literals keep their brackets
    std::optional<std::int64_t> port; // only when written explicitly
    // Exactly as written: users find what they typed in the file, the window and the log.
    // libcurl reads the same text for the request.
    std::string text;
    // An IPv6 scope such as "eth0". libcurl keeps it out of the host, so a caller that cannot
    // use one would otherwise never see it was there.
    std::optional<std::string> zoneId;

    // Host and port as written between "scheme:" with its slashes and the path, without any
    // user information. libcurl rewrites hosts (010.0.0.5 becomes 8.0.0.5, %31 becomes 1) and
    // refuses ports above 65535 outright; this is what the text itself says.
    struct Authority {
        std::string host;
        // Absent when not written, or not a decimal number that fits.
        std::optional<std::int64_t> port;
    };
    static std::optional<Authority> authorityOf(std::string_view text);

    // Absent when the text is not an absolute URL with a scheme. Any scheme is accepted.
    static std::optional<Url> parse(std::string_view text);

    bool operator==(const Url& other) const { return text == other.text; }
};

// The text with the password of every URL in it replaced by "***", the user name kept, for
// log lines: a discovery URL may carry credentials.
std::string redactUrlPasswords(std::string_view text);

} // namespace velquor

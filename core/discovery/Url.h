#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// An absolute URL, parsed once with libcurl's URL API. The one URL parser of the system.
struct Url {
    std::string scheme;               // lower case, e.g. "http"
    std::optional<std::string> host;  // as libcurl gives it; IPv6 literals keep their brackets
    std::optional<std::int64_t> port; // only when written explicitly
    std::string text;                 // the absolute text, normalised by libcurl
    // An IPv6 scope such as "eth0". libcurl keeps it out of the host, so a caller that cannot
    // use one would otherwise never see it was there.
    std::optional<std::string> zoneId;

    // Absent when the text is not an absolute URL with a scheme. Any scheme is accepted.
    static std::optional<Url> parse(std::string_view text);

    bool operator==(const Url& other) const { return text == other.text; }
};

} // namespace velquor

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

    // Absent when the text is not an absolute URL with a scheme. Any scheme is accepted.
    static std::optional<Url> parse(std::string_view text);

    bool operator==(const Url& other) const { return text == other.text; }
};

} // namespace velquor

#include "core/discovery/TargetResolver.h"

#include "core/discovery/CurlHttpSession.h"
#include "core/discovery/TargetResolverError.h"
#include "core/net/PlainHost.h"
#include "core/text/AsciiCase.h"
#include "core/text/Whitespace.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace velquor {

namespace {

bool isAlpha(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// scheme ":" with scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ). libcurl cannot parse a
// relative reference at all, so telling one apart from a broken absolute URL is done here.
std::optional<std::string> schemeOf(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || !isAlpha(text.front())) {
        return std::nullopt;
    }
    const auto scheme = text.substr(0, colon);
    const bool valid = std::ranges::all_of(scheme, [](char c) {
        return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
    return valid ? std::optional<std::string>(scheme) : std::nullopt;
}

bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The characters of RFC 3986, with every '%' starting an escape and one '#' at most.
bool hasUriCharacters(std::string_view text) {
    constexpr std::string_view allowed = "-._~:/?#[]@!$&'()*+,;=";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) {
                return false;
            }
        } else if (!isAlpha(c) && !isDigit(c) && allowed.find(c) == std::string_view::npos) {
            return false;
        }
    }
    return std::ranges::count(text, '#') <= 1;
}

// An authority's host ends with its brackets, if any, and its port is digits only; brackets
// appear nowhere else.
bool hasUriAuthority(std::string_view text, std::size_t schemeLength) {
    auto rest = text.substr(schemeLength);
    std::string_view authority;
    if (rest.starts_with("//")) {
        authority = rest.substr(2, rest.find_first_of("/?#", 2) - 2);
        rest.remove_prefix(2 + authority.size());
        authority.remove_prefix(std::min(authority.rfind('@') + 1, authority.size()));
    }
    const auto hostEnd = authority.starts_with('[') ? authority.find(']') + 1 : 0;
    if (rest.find_first_of("[]") != std::string_view::npos ||
        authority.substr(hostEnd).find_first_of("[]") != std::string_view::npos) {
        return false;
    }
    const auto colon = authority.find(':', hostEnd);
    return colon == std::string_view::npos ||
           std::ranges::all_of(authority.substr(colon + 1), isDigit);
}

// Schemes are case-insensitive: "HTTP:" is http.
bool isHttpScheme(std::string_view scheme) {
    return equalIgnoringAsciiCase(scheme, "http") || equalIgnoringAsciiCase(scheme, "https");
}

// libcurl refuses a port above 65535 before the target rule could name it as such.
TargetResolverError refusedByLibcurl(const std::string& text, std::string_view trimmed) {
    const auto written = Url::authorityOf(trimmed);
    if (written && written->port && isPlainHost(written->host)) {
        try {
            TargetEndpoint(written->host, *written->port);
        } catch (const TargetEndpoint::ValidationError& error) {
            return TargetResolverError::invalidTarget(error);
        }
    }
    return TargetResolverError::malformedLocation(text);
}

} // namespace

TargetResolver::TargetResolver(std::unique_ptr<HttpSession> session)
    : m_session(session ? std::move(session) : std::make_unique<CurlHttpSession>()) {}

TargetEndpoint TargetResolver::resolve(const Url& from) {
    // Whatever another scheme returned, it would not be an HTTP answer with a Location.
    if (!isHttpScheme(from.scheme)) {
        throw TargetResolverError::invalidHTTPResponse();
    }
    const auto response = m_session->get(from, requestTimeout);
    // The status is not looked at: discovery endpoints answer with 200 as well as redirects.
    const auto location = response.header("Location");
    if (!location) {
        throw TargetResolverError::missingLocation();
    }
    return parseLocation(*location);
}

TargetEndpoint TargetResolver::parseLocation(const std::string& text) {
    const std::string trimmed = trimWhitespace(text);
    const auto scheme = schemeOf(trimmed);
    // The form first: what is not a URL reference at all is malformed, whatever its scheme.
    if (!hasUriCharacters(trimmed) || !hasUriAuthority(trimmed, scheme ? scheme->size() + 1 : 0)) {
        throw TargetResolverError::malformedLocation(text);
    }
    if (!scheme) {
        throw TargetResolverError::unsupportedLocationScheme(std::nullopt);
    }
    // Before libcurl, which cannot parse "mailto:x" or "urn:isbn:1" at all.
    if (!isHttpScheme(*scheme)) {
        throw TargetResolverError::unsupportedLocationScheme(*scheme);
    }
    const auto url = Url::parse(trimmed);
    if (!url) {
        throw refusedByLibcurl(text, trimmed);
    }
    // No default port: the discovery answer exists to tell the port. The host comes from the
    // network, often over plain HTTP, and becomes part of socat's "TCP:<host>:<port>,…".
    if (!url->host || !url->port || url->zoneId || !isPlainHost(*url->host)) {
        throw TargetResolverError::malformedLocation(text);
    }
    try {
        return TargetEndpoint(*url->host, *url->port);
    } catch (const TargetEndpoint::ValidationError& error) {
        throw TargetResolverError::invalidTarget(error);
    }
}

} // namespace velquor

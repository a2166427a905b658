#include "core/discovery/TargetResolver.h"

#include "core/discovery/CurlHttpSession.h"
#include "core/discovery/TargetResolverError.h"
#include "core/net/PlainHost.h"
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

// Schemes are case-insensitive: "HTTP:" is http.
bool isHttpScheme(std::string_view scheme) {
    std::string lower(scheme);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower == "http" || lower == "https";
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

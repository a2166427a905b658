#include "core/discovery/TargetResolverError.h"

#include <cstdio>
#include <string_view>

namespace velquor {

namespace {

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            result += "\\\"";
            break;
        case '\\':
            result += "\\\\";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\t':
            result += "\\t";
            break;
        default:
            if (byte < 0x20 || byte == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u{%X}", byte);
                result += escaped;
            } else {
                result += c;
            }
        }
    }
    return result + "\"";
}

} // namespace

TargetResolverError::TargetResolverError(Kind kind, std::string text)
    : Error(std::move(text)), m_kind(kind) {}

TargetResolverError TargetResolverError::invalidHTTPResponse() {
    return {Kind::invalidHTTPResponse, "invalidHTTPResponse"};
}

TargetResolverError TargetResolverError::missingLocation() {
    return {Kind::missingLocation, "missingLocation"};
}

TargetResolverError TargetResolverError::malformedLocation(std::string value) {
    TargetResolverError error(Kind::malformedLocation, "malformedLocation(" + quoted(value) + ")");
    error.m_value = std::move(value);
    return error;
}

TargetResolverError
TargetResolverError::unsupportedLocationScheme(std::optional<std::string> scheme) {
    TargetResolverError error(Kind::unsupportedLocationScheme,
                              "unsupportedLocationScheme(" +
                                  (scheme ? quoted(*scheme) : std::string("nil")) + ")");
    error.m_scheme = std::move(scheme);
    return error;
}

TargetResolverError TargetResolverError::invalidTarget(TargetEndpoint::ValidationError error) {
    TargetResolverError result(Kind::invalidTarget,
                               "invalidTarget(" + std::string(error.what()) + ")");
    result.m_targetError = std::move(error);
    return result;
}

} // namespace velquor

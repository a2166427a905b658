#include "core/discovery/TargetResolverError.h"

#include "core/text/QuotedText.h"

namespace velquor {

TargetResolverError::TargetResolverError(Kind kind, std::string text)
    : Error(std::move(text)), m_kind(kind) {}

TargetResolverError TargetResolverError::invalidHTTPResponse() {
    return {Kind::invalidHTTPResponse, "invalidHTTPResponse"};
}

TargetResolverError TargetResolverError::missingLocation() {
    return {Kind::missingLocation, "missingLocation"};
}

TargetResolverError TargetResolverError::malformedLocation(std::string value) {
    TargetResolverError error(Kind::malformedLocation,
                              "malformedLocation(" + quotedText(value) + ")");
    error.m_value = std::move(value);
    return error;
}

TargetResolverError
TargetResolverError::unsupportedLocationScheme(std::optional<std::string> scheme) {
    TargetResolverError error(Kind::unsupportedLocationScheme,
                              "unsupportedLocationScheme(" +
                                  (scheme ? quotedText(*scheme) : std::string("nil")) + ")");
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

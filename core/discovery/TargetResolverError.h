#pragma once

#include "core/Error.h"
#include "core/config/TargetEndpoint.h"

#include <optional>
#include <string>

namespace velquor {

// Why a discovery answer named no usable target. String payloads appear in the text form in
// double quotes, with '"', '\' and control characters escaped (\n, \u{1B}, …) because they come
// from the network and end up in logs; an absent one reads nil: malformedLocation("ftp//x"),
// unsupportedLocationScheme(nil), invalidTarget(invalidPort(0)).
class TargetResolverError : public Error {
public:
    enum class Kind {
        invalidHTTPResponse,
        missingLocation,
        malformedLocation,
        unsupportedLocationScheme,
        invalidTarget,
    };

    static TargetResolverError invalidHTTPResponse();
    static TargetResolverError missingLocation();
    static TargetResolverError malformedLocation(std::string value);
    static TargetResolverError unsupportedLocationScheme(std::optional<std::string> scheme);
    static TargetResolverError invalidTarget(TargetEndpoint::ValidationError error);

    Kind kind() const noexcept { return m_kind; }
    // malformedLocation: the Location value as it arrived.
    const std::string& value() const noexcept { return m_value; }
    // unsupportedLocationScheme: as written; absent for a reference without a scheme.
    const std::optional<std::string>& scheme() const noexcept { return m_scheme; }
    // invalidTarget
    const std::optional<TargetEndpoint::ValidationError>& targetError() const noexcept {
        return m_targetError;
    }

    bool operator==(const TargetResolverError& other) const {
        return m_kind == other.m_kind && m_value == other.m_value && m_scheme == other.m_scheme &&
               m_targetError == other.m_targetError;
    }

private:
    TargetResolverError(Kind kind, std::string text);

    Kind m_kind;
    std::string m_value;
    std::optional<std::string> m_scheme;
    std::optional<TargetEndpoint::ValidationError> m_targetError;
};

} // namespace velquor

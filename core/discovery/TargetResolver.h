#pragma once

#include "core/discovery/DynamicTargetResolving.h"
#include "core/discovery/HttpSession.h"

#include <chrono>
#include <memory>
#include <string>

namespace velquor {

// Asks the discovery URL where the target is: the answer's "Location" names it, whatever the
// status. Throws TargetResolverError for an unusable answer; transport failures pass through
// as the session reported them.
class TargetResolver : public DynamicTargetResolving {
public:
    static constexpr std::chrono::seconds requestTimeout{8};

    // Without a session, a CurlHttpSession.
    explicit TargetResolver(std::unique_ptr<HttpSession> session = nullptr);

    using DynamicTargetResolving::resolve;
    TargetEndpoint resolve(const Url& from) override;

    // The target a Location value names: http or https, a host socat reads as nothing but a
    // host, and an explicit port. Everything after the authority is ignored.
    static TargetEndpoint parseLocation(const std::string& text);

private:
    std::unique_ptr<HttpSession> m_session;
};

} // namespace velquor

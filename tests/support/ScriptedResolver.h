#pragma once

#include "core/discovery/DynamicTargetResolving.h"

#include <optional>
#include <stdexcept>

namespace velquor::test {

inline const char* const unreachableDiscovery =
    "GET http://discovery.invalid/dynamic-port: Couldn't resolve host name";

// What discovery answers: the target, or, when it is absent, a failure.
struct DiscoveryScript {
    std::optional<TargetEndpoint> target = TargetEndpoint("10.0.0.5", 3260);
    int requests = 0;
};

class ScriptedResolver : public DynamicTargetResolving {
public:
    explicit ScriptedResolver(DiscoveryScript& script) : m_script(script) {}
    using DynamicTargetResolving::resolve;
    TargetEndpoint resolve(const Url&) override {
        ++m_script.requests;
        if (!m_script.target) {
            throw std::runtime_error(unreachableDiscovery);
        }
        return *m_script.target;
    }

private:
    DiscoveryScript& m_script;
};

} // namespace velquor::test

#include "core/discovery/DynamicTargetResolving.h"

#include <exception>

namespace velquor {

TargetEndpoint DynamicTargetResolving::resolve(const Url& from,
                                               const std::optional<TargetEndpoint>& fallback) {
    try {
        return resolve(from);
    } catch (const std::exception&) {
        if (!fallback) {
            throw;
        }
        return *fallback;
    }
}

} // namespace velquor

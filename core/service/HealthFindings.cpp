#include "core/service/HealthFindings.h"

namespace velquor {

std::string HealthFindings::text() const {
    std::string text;
    const auto add = [&text](const std::string& part) {
        text += text.empty() ? part : "; " + part;
    };
    if (cachedTargetUsed) {
        add("discovery unreachable, using cached target " + cachedTargetUsed->text());
    }
    if (targetRefusing) {
        add("target " + targetRefusing->text() + " refuses connections");
    }
    if (failedWith) {
        add(failedWith->empty() ? "service failed" : "service failed: " + *failedWith);
    }
    return text;
}

} // namespace velquor

#include "core/forwarding/ListenerProcess.h"

#include <algorithm>

namespace velquor {

bool ListenerProcess::isSocat() const {
    std::string lowered = commandName;
    // ASCII only, independent of the locale: command names are not text to be translated.
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return lowered.find("socat") != std::string::npos;
}

} // namespace velquor

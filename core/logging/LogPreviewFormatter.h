#pragma once

#include <cstdint>
#include <string>

namespace velquor {

// What the logs page shows: the newest lines first, at most maxLines of them.
class LogPreviewFormatter {
public:
    static constexpr std::int64_t defaultMaxLines = 500;

    static std::string displayText(const std::string& text, std::int64_t maxLines);
};

} // namespace velquor

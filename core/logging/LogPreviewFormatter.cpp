#include "core/logging/LogPreviewFormatter.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace velquor {

std::string LogPreviewFormatter::displayText(const std::string& text, std::int64_t maxLines) {
    const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(maxLines, 1));
    std::vector<std::string_view> lines;
    std::string_view rest = text;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        const auto line = rest.substr(0, end);
        if (!line.empty()) {
            lines.push_back(line);
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    const auto shown = std::min(limit, lines.size());
    std::string result;
    if (lines.size() > limit) {
        result = "仅显示最近 " + std::to_string(limit) + " 行，完整日志请点击“打开目录”查看。\n";
    }
    for (std::size_t i = 0; i < shown; ++i) {
        if (i > 0) {
            result += '\n';
        }
        result.append(lines[lines.size() - 1 - i]);
    }
    return result;
}

} // namespace velquor

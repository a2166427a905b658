// The logs page shows whatever bytes service.log holds, cut at any byte by retention or by a
// crash. Input: two bytes for the line limit (signed, so 0 and negative limits come up), then
// the log text.

#include "core/logging/LogPreviewFormatter.h"
#include "core/text/Utf8.h"
#include "fuzz/FuzzChecks.h"

#include <algorithm>
#include <string>
#include <string_view>

using namespace velquor;

namespace {

std::size_t nonEmptyLines(std::string_view text) {
    std::size_t count = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = std::min(text.find('\n', start), text.size());
        count += end > start ? 1 : 0;
        start = end + 1;
    }
    return count;
}

void checkPreview(const std::string& text, std::int64_t maxLines) {
    const auto preview = LogPreviewFormatter::displayText(text, maxLines);
    const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(maxLines, 1));
    const auto available = nonEmptyLines(text);
    const bool cut = available > limit;
    const auto shown = std::min(available, limit);
    fuzz::require(nonEmptyLines(preview) == shown + (cut ? 1 : 0), "wrong number of lines",
                  preview);
    const auto lineCount = static_cast<std::size_t>(std::ranges::count(preview, '\n')) + 1;
    fuzz::require(preview.empty() || nonEmptyLines(preview) == lineCount,
                  "empty line in the preview", preview);
    fuzz::require(!cut || preview.starts_with("仅显示最近 "), "cut without the notice", preview);
    if (isValidUtf8(text)) {
        fuzz::require(isValidUtf8(preview), "preview of UTF-8 text is not UTF-8", preview);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const auto maxLines = static_cast<std::int16_t>(data[0] << 8 | data[1]);
    const std::string raw(reinterpret_cast<const char*>(data) + 2, size - 2);
    // The log is read through repairUtf8, so the window is handed UTF-8 whatever the file holds.
    const auto repaired = repairUtf8(raw);
    fuzz::require(isValidUtf8(repaired), "repaired text is not UTF-8", repaired);
    fuzz::require(!isValidUtf8(raw) || repaired == raw, "valid UTF-8 was changed", raw);
    checkPreview(repaired, maxLines);
    checkPreview(raw, maxLines);
    return 0;
}

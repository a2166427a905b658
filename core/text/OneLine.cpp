#include "core/text/OneLine.h"

#include "core/text/Utf8.h"

#include <algorithm>

namespace velquor {

std::string oneLine(std::string_view text, std::size_t limit) {
    auto cut = std::min(limit, text.size());
    // Back to the start of the character the limit falls in.
    while (cut > 0 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    std::string line(text.substr(0, cut));
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    return text.size() > limit ? repairUtf8(line) + "…" : line;
}

} // namespace velquor

#include "core/text/Whitespace.h"

#include <array>

namespace velquor {

namespace {

// UTF-8 encodings of the non-ASCII white-space and line-break code points.
constexpr std::array<std::string_view, 19> wideSpaces = {
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81",
    "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86",
    "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8",
    "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80",
};

bool isAsciiSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Length of the white-space character at the front (or back) of text, 0 if there is none.
std::size_t spaceAtFront(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.front())) {
        return 1;
    }
    for (auto space : wideSpaces) {
        if (text.starts_with(space)) {
            return space.size();
        }
    }
    return 0;
}

std::size_t spaceAtBack(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.back())) {
        return 1;
    }
    for (auto space : wideSpaces) {
        if (text.ends_with(space)) {
            return space.size();
        }
    }
    return 0;
}

} // namespace

std::string trimWhitespace(std::string_view text) {
    while (const auto n = spaceAtFront(text)) {
        text.remove_prefix(n);
    }
    while (const auto n = spaceAtBack(text)) {
        text.remove_suffix(n);
    }
    return std::string(text);
}

} // namespace velquor

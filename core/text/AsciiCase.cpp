#include "core/text/AsciiCase.h"

#include <algorithm>

namespace velquor {

namespace {

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool equalIgnoringAsciiCase(std::string_view first, std::string_view second) {
    return std::ranges::equal(first, second,
                              [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

} // namespace velquor

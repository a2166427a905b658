#include "core/discovery/HttpResponse.h"

#include <algorithm>

namespace velquor {

namespace {

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalIgnoringAsciiCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

} // namespace

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    for (const auto& [field, value] : headers) {
        if (equalIgnoringAsciiCase(field, name)) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace velquor

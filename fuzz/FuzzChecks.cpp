#include "fuzz/FuzzChecks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace velquor::fuzz {

void fail(std::string_view broken, std::string_view detail) {
    std::fprintf(stderr, "fuzz check failed: %.*s: %s\n", static_cast<int>(broken.size()),
                 broken.data(), escaped(detail).c_str());
    std::abort();
}

bool isSocatSafeHost(std::string_view host) {
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string_view::npos) {
        return false;
    }
    return !host.empty() && std::ranges::none_of(host, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7F ||
               std::string_view(",!\"'\\{}[]").find(c) != std::string_view::npos;
    });
}

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F && c != '\\') {
            text += c;
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", byte);
            text += hex;
        }
    }
    return text;
}

} // namespace velquor::fuzz

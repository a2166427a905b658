#include "core/text/QuotedText.h"

#include <cstdio>

namespace velquor {

std::string quotedText(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            result += "\\\"";
            break;
        case '\\':
            result += "\\\\";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\t':
            result += "\\t";
            break;
        default:
            if (byte < 0x20 || byte == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u{%X}", byte);
                result += escaped;
            } else {
                result += c;
            }
        }
    }
    return result + "\"";
}

} // namespace velquor

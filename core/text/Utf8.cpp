#include "core/text/Utf8.h"

#include <cstdint>

namespace velquor {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

// Length of the well-formed UTF-8 sequence at the front of bytes, or 0 when it is not one.
std::size_t sequenceLength(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    const auto lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    std::uint8_t low = 0x80, high = 0xBF; // bounds of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;  // no overlong forms
        high = lead == 0xED ? 0x9F : 0xBF; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF; // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (bytes.size() < length || byte(1) < low || byte(1) > high) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) {
            return 0;
        }
    }
    return length;
}

} // namespace

bool isValidUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto length = sequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string repairUtf8(std::string_view bytes) {
    std::string result;
    result.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto length = sequenceLength(bytes);
        if (length == 0) {
            result += replacementCharacter;
            bytes.remove_prefix(1);
        } else {
            result += bytes.substr(0, length);
            bytes.remove_prefix(length);
        }
    }
    return result;
}

} // namespace velquor

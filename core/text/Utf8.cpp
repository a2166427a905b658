#include "core/text/Utf8.h"

#include <algorithm>
#include <cstdint>

namespace velquor {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

// How a sequence at the front of bytes reads: `fitting` bytes match its lead's pattern, and it
// is well formed when they are all `length` of them.
struct Sequence {
    std::size_t length;
    std::size_t fitting;
};

Sequence sequenceAtFront(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    const auto lead = byte(0);
    if (lead < 0x80) {
        return {1, 1};
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
        return {1, 0};
    }
    std::size_t fitting = 1;
    while (fitting < length && fitting < bytes.size() && byte(fitting) >= low &&
           byte(fitting) <= high) {
        ++fitting;
        low = 0x80;
        high = 0xBF;
    }
    return {length, fitting};
}

} // namespace

bool isValidUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sequence = sequenceAtFront(bytes);
        if (sequence.fitting < sequence.length) {
            return false;
        }
        bytes.remove_prefix(sequence.length);
    }
    return true;
}

std::string repairUtf8(std::string_view bytes) {
    std::string result;
    result.reserve(bytes.size());
    while (!bytes.empty()) {
        // A sequence cut short is one mistake, however many of its bytes came.
        const auto sequence = sequenceAtFront(bytes);
        const auto taken = std::max<std::size_t>(sequence.fitting, 1);
        if (sequence.fitting < sequence.length) {
            result += replacementCharacter;
        } else {
            result += bytes.substr(0, taken);
        }
        bytes.remove_prefix(taken);
    }
    return result;
}

} // namespace velquor

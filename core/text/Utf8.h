#pragma once

#include <string>
#include <string_view>

namespace velquor {

bool isValidUtf8(std::string_view bytes);

// Replaces every invalid sequence with one U+FFFD, so text cut in the middle of a character
// reads: a character cut short counts once, each byte that fits no character once on its own.
std::string repairUtf8(std::string_view bytes);

} // namespace velquor

#pragma once

#include <string>
#include <string_view>

namespace velquor {

bool isValidUtf8(std::string_view bytes);

// Replaces every invalid sequence with U+FFFD, so text cut in the middle of a character reads.
std::string repairUtf8(std::string_view bytes);

} // namespace velquor

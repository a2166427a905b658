#pragma once

#include <string>
#include <string_view>

namespace velquor {

// The text in double quotes with '"', '\' and control characters escaped (\n, \u{1B}, …), so
// that a value from a file or the network reads as one item in a log line and cannot forge one.
std::string quotedText(std::string_view text);

} // namespace velquor

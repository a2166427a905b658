#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velquor {

// Text from elsewhere made fit for one line of ours: every control character (DEL too) becomes a
// space, and text longer than limit bytes is cut before the character the limit falls in, with
// "…"; what was cut is then made valid UTF-8.
std::string oneLine(std::string_view text, std::size_t limit);

} // namespace velquor

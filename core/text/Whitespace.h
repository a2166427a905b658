#pragma once

#include <string>
#include <string_view>

namespace velquor {

// Trims Unicode white space and line breaks (UTF-8) from both ends.
std::string trimWhitespace(std::string_view text);

} // namespace velquor

#pragma once

#include <string_view>

namespace velquor {

// Equal but for the case of ASCII letters, as protocols compare their names (HTTP header
// fields, URL schemes); other bytes must match exactly.
bool equalIgnoringAsciiCase(std::string_view first, std::string_view second);

} // namespace velquor

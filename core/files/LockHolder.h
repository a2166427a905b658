#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// The process holding a lock, as a refused start names it.
struct LockHolder {
    std::int32_t pid = 0;
    std::string program;

    // "qarvexd (PID 1234)"
    std::string text() const;
    // "1234 qarvexd\n", as a holder writes itself down.
    std::string record() const;
    // Nothing unless the PID is positive and the program a plain name (letters, digits, "-",
    // "_", "."): whatever is in the record is repeated to the user.
    static std::optional<LockHolder> fromRecord(std::string_view record);
};

} // namespace velquor

#include "core/forwarding/ProcessStat.h"

#include <charconv>
#include <fstream>
#include <sstream>
#include <string>

namespace velquor {

// Fields 3 and 22, counted after the command in parentheses, which may itself hold blanks and
// parentheses.
std::optional<ProcessStat> ProcessStat::read(std::int32_t processIdentifier) {
    std::string stat;
    std::getline(std::ifstream("/proc/" + std::to_string(processIdentifier) + "/stat"), stat);
    const auto close = stat.rfind(')');
    if (close == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(stat.substr(close + 1));
    std::string state, field;
    if (!(fields >> state) || state.size() != 1) {
        return std::nullopt;
    }
    for (int number = 4; number <= 22 && (fields >> field); ++number) {
        std::uint64_t value = 0;
        const auto end = field.data() + field.size();
        if (number == 22 && std::from_chars(field.data(), end, value).ptr == end) {
            return ProcessStat{state.front(), value};
        }
    }
    return std::nullopt;
}

} // namespace velquor

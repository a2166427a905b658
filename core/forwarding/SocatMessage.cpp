#include "core/forwarding/SocatMessage.h"

#include "core/text/OneLine.h"
#include "core/text/Utf8.h"

#include <algorithm>
#include <cctype>

namespace velquor {
namespace {

constexpr std::size_t addressLimit = 64;
constexpr std::size_t reasonLimit = 120;

// The text after "socat[<pid>] <letter> ", or nothing.
std::optional<std::pair<char, std::string_view>> split(std::string_view line) {
    const auto program = line.find(" socat[");
    const auto close = line.find("] ", program);
    if (program == std::string_view::npos || close == std::string_view::npos ||
        close + 3 >= line.size() || line[close + 3] != ' ') {
        return std::nullopt;
    }
    return std::pair{line[close + 2], line.substr(close + 4)};
}

// "AF=2 10.0.0.5:3260" or "AF=10 [::1]:3260", up to the next ", ".
std::string addressIn(std::string_view call) {
    const auto family = call.find("AF=");
    const auto start = call.find(' ', family);
    if (family == std::string_view::npos || start == std::string_view::npos) {
        return "unknown address";
    }
    const auto address = call.substr(start + 1, call.find(", ", start) - start - 1);
    const bool plain = std::ranges::all_of(address, [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) ||
               std::string_view(".:[]%_-").find(c) != std::string_view::npos;
    });
    return plain && !address.empty() && address.size() <= addressLimit ? std::string(address)
                                                                       : "unknown address";
}

} // namespace

std::optional<char> SocatMessage::level(std::string_view line) {
    const auto parts = split(line);
    if (!parts || std::string_view("FEWNID").find(parts->first) == std::string_view::npos) {
        return std::nullopt;
    }
    return parts->first;
}

int SocatMessage::journalPriority(std::string_view line) {
    switch (level(line).value_or('I')) {
    case 'F':
    case 'E':
        return 3;
    case 'W':
        return 4;
    case 'N':
        return 5;
    default:
        return 6;
    }
}

std::optional<ConnectFailure> SocatMessage::connectFailure(std::string_view line) {
    const auto parts = split(line);
    if (!parts || parts->first != 'E' || !parts->second.starts_with("connect(")) {
        return std::nullopt;
    }
    const auto message = parts->second;
    const auto reasonAt = message.rfind("): ");
    const auto reason =
        reasonAt == std::string_view::npos ? std::string_view() : message.substr(reasonAt + 3);
    return ConnectFailure{addressIn(message.substr(0, reasonAt)),
                          reason.empty() ? "unknown reason"
                                         : oneLine(repairUtf8(reason), reasonLimit)};
}

} // namespace velquor

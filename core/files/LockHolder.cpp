#include "core/files/LockHolder.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace velquor {

std::string LockHolder::text() const {
    return program + " (PID " + std::to_string(pid) + ")";
}

std::string LockHolder::record() const {
    return std::to_string(pid) + " " + program + "\n";
}

std::optional<LockHolder> LockHolder::fromRecord(std::string_view record) {
    LockHolder holder;
    const auto [end, error] =
        std::from_chars(record.data(), record.data() + record.size(), holder.pid);
    const auto rest = record.substr(static_cast<std::size_t>(end - record.data()));
    if (error != std::errc() || holder.pid <= 0 || !rest.starts_with(' ') ||
        !rest.ends_with('\n')) {
        return std::nullopt;
    }
    holder.program = std::string(rest.substr(1, rest.size() - 2));
    const bool plain = std::ranges::all_of(holder.program, [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.';
    });
    if (holder.program.empty() || !plain) {
        return std::nullopt;
    }
    return holder;
}

} // namespace velquor

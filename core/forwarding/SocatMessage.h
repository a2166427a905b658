#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velquor {

// A connection socat could not make to the target, for our log: both texts are one line each
// and bounded, whatever socat wrote.
struct ConnectFailure {
    std::string address; // "10.0.0.5:3260", "[2001:db8::5]:3260"
    std::string reason;  // "Connection refused"

    bool operator==(const ConnectFailure&) const = default;
};

// Reads the lines socat writes to standard error, such as
// "2026/11/25 00:58:13 socat[24718] E connect(5, AF=2 10.0.0.5:3260, 16): Connection refused".
class SocatMessage {
public:
    // The severity letter ('F', 'E', 'W', 'N', 'I' or 'D'); nothing for a line in another form.
    static std::optional<char> level(std::string_view line);

    // The syslog priority of the line in the journal: 3 for fatal and error lines, 4 for
    // warnings, 5 for notices, 6 for anything else.
    static int journalPriority(std::string_view line);

    // The target's refusal, silence or unreachability, as socat reports a connect() that
    // failed: socat connects only to the target, the listening side never connects.
    static std::optional<ConnectFailure> connectFailure(std::string_view line);
};

} // namespace velquor

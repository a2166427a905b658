#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace velquor {

// Drops the lines whose time stamp lies before a cut-off from a text fed in pieces of any size
// and passes every other byte on unchanged. Lines are split at "\n" and joined again with it, so
// what passes is exactly the kept lines of the whole text. Only the head of the current line,
// at most one stamp long, is held; a line of any length streams through.
class StampedLineFilter {
public:
    using Clock = std::chrono::system_clock;
    using Sink = std::function<void(std::string_view)>;

    StampedLineFilter(Clock::time_point cutoff, Sink sink);

    void feed(std::string_view bytes);
    // The text ended: decides its last line, which may be empty.
    void finish();

private:
    enum class Line { undecided, kept, dropped };

    void decide();

    Clock::time_point m_cutoff;
    Sink m_sink;
    std::string m_head;
    Line m_line = Line::undecided;
    bool m_anyKept = false;
};

} // namespace velquor

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace velquor {

// Splits what a non-blocking descriptor delivers into lines, in bounded memory whatever the
// writer does: a line longer than maxLineLength is handed on in pieces of that length, and one
// call reads at most maxReadPerCall bytes, so an endless writer cannot hold an event loop.
class BoundedLineReader {
public:
    static constexpr std::size_t maxLineLength = 4096;
    static constexpr std::size_t maxReadPerCall = 64 * 1024;

    // The descriptor stays the caller's.
    explicit BoundedLineReader(int descriptor) : m_descriptor(descriptor) {}

    // The complete lines read now, without their newlines; a partial line waits for its end.
    // Throws std::system_error on a read error.
    std::vector<std::string> read();

    // True once the writers are all gone: the descriptor then stays readable with nothing in it.
    bool ended() const noexcept { return m_ended; }

private:
    void take(const char* bytes, std::size_t size, std::vector<std::string>& lines);

    int m_descriptor;
    std::string m_partial;
    bool m_cutAtLimit = false;
    bool m_ended = false;
};

} // namespace velquor

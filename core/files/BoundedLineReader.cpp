#include "core/files/BoundedLineReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velquor {

std::vector<std::string> BoundedLineReader::read() {
    std::vector<std::string> lines;
    std::array<char, 8192> buffer{};
    for (std::size_t total = 0; total < maxReadPerCall && !m_ended;) {
        const auto got = ::read(m_descriptor, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            break;
        }
        if (got < 0) {
            throw std::system_error(errno, std::generic_category(),
                                    "reading the forwarder's output");
        }
        m_ended = got == 0;
        take(buffer.data(), static_cast<std::size_t>(got), lines);
        total += static_cast<std::size_t>(got);
    }
    if (m_ended && !m_partial.empty()) {
        lines.push_back(std::exchange(m_partial, {}));
    }
    return lines;
}

void BoundedLineReader::take(const char* bytes, std::size_t size, std::vector<std::string>& lines) {
    const char* end = bytes + size;
    while (bytes != end) {
        // The line end right after a piece cut at the limit ends that line, not an empty one.
        if (std::exchange(m_cutAtLimit, false) && *bytes == '\n') {
            ++bytes;
            continue;
        }
        const auto room = maxLineLength - m_partial.size();
        const char* stop = std::find(bytes, bytes + std::min<std::size_t>(room, end - bytes), '\n');
        m_partial.append(bytes, stop);
        bytes = stop;
        if (stop != end && *stop == '\n') {
            ++bytes;
        } else if (m_partial.size() < maxLineLength) {
            return; // the rest of this line comes with a later read
        } else {
            m_cutAtLimit = true;
        }
        lines.push_back(std::exchange(m_partial, {}));
    }
}

} // namespace velquor

#include "core/logging/StampedLineFilter.h"

#include "core/logging/LogManager.h"

#include <algorithm>
#include <utility>

namespace velquor {

namespace {

// "[yyyy-MM-dd HH:mm:ss]": all of a line a stamp is read from.
constexpr std::size_t stampLength = 21;

} // namespace

StampedLineFilter::StampedLineFilter(Clock::time_point cutoff, Sink sink)
    : m_cutoff(cutoff), m_sink(std::move(sink)) {}

void StampedLineFilter::feed(std::string_view bytes) {
    while (!bytes.empty()) {
        if (m_line == Line::undecided) {
            const auto take = std::min(stampLength - m_head.size(), bytes.find('\n'));
            m_head.append(bytes.substr(0, take));
            bytes.remove_prefix(std::min(take, bytes.size()));
            if (bytes.empty() && m_head.size() < stampLength) {
                return;
            }
            decide();
        }
        const auto end = bytes.find('\n');
        if (m_line == Line::kept) {
            m_sink(bytes.substr(0, end));
        }
        if (end == std::string_view::npos) {
            return;
        }
        bytes.remove_prefix(end + 1);
        m_line = Line::undecided;
        m_head.clear();
    }
}

void StampedLineFilter::finish() {
    if (m_line == Line::undecided) {
        decide();
    }
}

void StampedLineFilter::decide() {
    const auto stamp = LogManager::parseBracketTimestamp(m_head);
    m_line = stamp && *stamp < m_cutoff ? Line::dropped : Line::kept;
    if (m_line == Line::kept) {
        if (std::exchange(m_anyKept, true)) {
            m_sink("\n");
        }
        m_sink(m_head);
    }
}

} // namespace velquor

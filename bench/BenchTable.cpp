#include "bench/BenchTable.h"

#include <cstdio>

namespace velquor::bench {

namespace {

std::string verdict(const std::string& target, std::optional<bool> met) {
    if (!met) {
        return target.empty() ? "" : "n/a";
    }
    return *met ? "yes" : "**no**";
}

// Markdown cells cannot hold a bar or a line break.
std::string cell(std::string text) {
    for (auto& c : text) {
        if (c == '|' || c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

} // namespace

std::string BenchTable::number(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

void BenchTable::addMedian(const std::string& item, const std::string& figure,
                           const Samples& samples, const std::string& unit, int decimals,
                           const std::string& target, std::optional<bool> met) {
    addValue(item, figure, number(samples.median(), decimals) + " " + unit,
             number(samples.minimum(), decimals) + " .. " + number(samples.maximum(), decimals) +
                 " (n=" + std::to_string(samples.size()) + ")",
             target, met);
}

void BenchTable::addValue(const std::string& item, const std::string& figure,
                          const std::string& value, const std::string& spread,
                          const std::string& target, std::optional<bool> met) {
    m_rows.push_back({item, figure, value, spread, target, verdict(target, met)});
}

void BenchTable::addFailure(const std::string& item, const std::string& figure,
                            const std::string& why) {
    m_rows.push_back({item, figure, "not measured", why, "", "n/a"});
}

void BenchTable::addNote(const std::string& note) {
    m_notes.push_back(note);
}

void BenchTable::print(std::ostream& out) const {
    out << "| | Figure | Median | Min .. max (runs) | Target | Met |\n"
           "|---|---|---:|---|---|---|\n";
    for (const auto& row : m_rows) {
        out << "| " << cell(row.item) << " | " << cell(row.figure) << " | " << cell(row.value)
            << " | " << cell(row.spread) << " | " << cell(row.target) << " | " << cell(row.met)
            << " |\n";
    }
    if (!m_notes.empty()) {
        out << "\n";
        for (const auto& note : m_notes) {
            out << "- " << note << "\n";
        }
    }
}

} // namespace velquor::bench

#pragma once

#include "bench/Samples.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace velquor::bench {

// The printed result: one row per figure, each with its target and whether it was met. A missed
// target is reported, never turned into a failure.
class BenchTable {
public:
    struct Row {
        std::string item;
        std::string figure;
        std::string value;
        std::string spread;
        std::string target;
        std::string met;
    };

    // A median with its spread and unit.
    void addMedian(const std::string& item, const std::string& figure, const Samples& samples,
                   const std::string& unit, int decimals, const std::string& target = "",
                   std::optional<bool> met = std::nullopt);
    void addValue(const std::string& item, const std::string& figure, const std::string& value,
                  const std::string& spread, const std::string& target = "",
                  std::optional<bool> met = std::nullopt);
    void addFailure(const std::string& item, const std::string& figure, const std::string& why);
    void addNote(const std::string& note);

    static std::string number(double value, int decimals);

    void print(std::ostream& out) const;

private:
    std::vector<Row> m_rows;
    std::vector<std::string> m_notes;
};

} // namespace velquor::bench

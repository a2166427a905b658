#pragma once

#include <cstddef>
#include <vector>

namespace velquor::bench {

// Repeated measurements of one figure. The machine is shared and noisy, so figures are medians
// and the spread is shown beside them rather than hidden in a mean.
class Samples {
public:
    void add(double value);

    bool empty() const noexcept { return m_values.empty(); }
    std::size_t size() const noexcept { return m_values.size(); }
    // Throws std::logic_error when empty.
    double median() const;
    double minimum() const;
    double maximum() const;

private:
    std::vector<double> m_values;
};

} // namespace velquor::bench

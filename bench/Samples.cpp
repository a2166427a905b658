#include "bench/Samples.h"

#include <algorithm>
#include <stdexcept>

namespace velquor::bench {

void Samples::add(double value) {
    m_values.push_back(value);
}

double Samples::median() const {
    if (m_values.empty()) {
        throw std::logic_error("median of no samples");
    }
    auto sorted = m_values;
    std::sort(sorted.begin(), sorted.end());
    const auto middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

double Samples::minimum() const {
    if (m_values.empty()) {
        throw std::logic_error("minimum of no samples");
    }
    return *std::min_element(m_values.begin(), m_values.end());
}

double Samples::maximum() const {
    if (m_values.empty()) {
        throw std::logic_error("maximum of no samples");
    }
    return *std::max_element(m_values.begin(), m_values.end());
}

} // namespace velquor::bench

#pragma once

#include <chrono>
#include <functional>

namespace velquor::test {

// Polls the condition until it holds or the deadline passes; returns its last answer.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds deadline = std::chrono::seconds(30));

} // namespace velquor::test

#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace velquor::test {

// Polls the condition until it holds or the deadline passes; returns its last answer.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds deadline = std::chrono::seconds(30)) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace velquor::test

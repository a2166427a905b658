#include "bench/Interruption.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace velquor::bench {

namespace {

std::atomic<bool> signalled{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onStopSignal(int) {
    signalled.store(true);
}

} // namespace

void Interruption::install() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

bool Interruption::requested() noexcept {
    return signalled.load();
}

void Interruption::check() {
    if (requested()) {
        throw Interrupted();
    }
}

void Interruption::sleepFor(std::chrono::microseconds duration) {
    constexpr std::chrono::microseconds slice{100'000};
    const auto until = std::chrono::steady_clock::now() + duration;
    for (;;) {
        check();
        const auto left = until - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) {
            return;
        }
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(left, slice));
    }
}

} // namespace velquor::bench

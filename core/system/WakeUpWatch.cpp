#include "core/system/WakeUpWatch.h"

#include <cerrno>
#include <cstdint>
#include <sys/timerfd.h>
#include <system_error>

namespace velquor {

WakeUpWatch::WakeUpWatch() : m_timer(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (!m_timer.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "creating the wake-up timer");
    }
    arm();
}

bool WakeUpWatch::drain() {
    std::uint64_t expirations = 0;
    for (;;) {
        if (::read(m_timer.get(), &expirations, sizeof expirations) >= 0) {
            // It expired: a clock set past the year 2262; arm it again like a cancellation.
            break;
        }
        if (errno == EAGAIN) {
            return false;
        }
        if (errno == ECANCELED) {
            break;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "reading the wake-up timer");
        }
    }
    arm();
    return true;
}

void WakeUpWatch::arm() {
    // The kernel cancels an absolute real-time timer armed with this flag whenever the clock
    // jumps, and treats a resume as such a jump. The expiry itself is never meant to come.
    itimerspec never{};
    never.it_value.tv_sec = INT64_MAX / 2;
    if (::timerfd_settime(m_timer.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never,
                          nullptr) < 0) {
        throw std::system_error(errno, std::generic_category(), "arming the wake-up timer");
    }
}

} // namespace velquor

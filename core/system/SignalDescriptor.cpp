#include "core/system/SignalDescriptor.h"

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <system_error>

namespace velquor {

SignalDescriptor::SignalDescriptor(std::span<const int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &set, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "blocking signals");
    }
    m_descriptor = FileDescriptor(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!m_descriptor.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "creating the signal descriptor");
    }
}

std::optional<int> SignalDescriptor::take() {
    signalfd_siginfo info{};
    for (;;) {
        if (::read(m_descriptor.get(), &info, sizeof info) == sizeof info) {
            return static_cast<int>(info.ssi_signo);
        }
        if (errno == EAGAIN) {
            return std::nullopt;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "reading signals");
        }
    }
}

} // namespace velquor

#include "VelquorApp/VelquorApp/TerminationSignals.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

constexpr int handledSignals[] = {SIGTERM, SIGINT, SIGHUP};

// Written by the handler, read on the main thread: the only thing a handler may safely do.
int signalPipe[2] = {-1, -1};
struct sigaction previousActions[std::size(handledSignals)];

} // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalPipe) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair for signals");
    }
    m_notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::readPending);
    struct sigaction action = {};
    action.sa_handler = &TerminationSignals::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (std::size_t index = 0; index < std::size(handledSignals); ++index) {
        ::sigaction(handledSignals[index], &action, &previousActions[index]);
    }
}

TerminationSignals::~TerminationSignals() {
    for (std::size_t index = 0; index < std::size(handledSignals); ++index) {
        ::sigaction(handledSignals[index], &previousActions[index], nullptr);
    }
    delete m_notifier; // before the descriptor it watches is closed
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void TerminationSignals::handle(int signalNumber) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
    errno = savedErrno;
}

void TerminationSignals::readPending() {
    unsigned char byte = 0;
    while (::read(signalPipe[1], &byte, 1) == 1) {
        emit received(byte);
    }
}

} // namespace velquor

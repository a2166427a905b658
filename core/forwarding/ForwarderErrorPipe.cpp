#include "core/forwarding/ForwarderErrorPipe.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>

namespace velquor {
namespace {

// Room for a burst of failed connections while the reader is busy; the kernel's limit for an
// unprivileged user (1 MiB by default) may refuse it, and the default 64 KiB then has to do.
constexpr int wantedPipeSize = 1 << 20;

} // namespace

ForwarderErrorPipe::ForwarderErrorPipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "creating the forwarder's pipe");
    }
    m_read = FileDescriptor(ends[0]);
    m_write = FileDescriptor(ends[1]);
    ::fcntl(m_write.get(), F_SETPIPE_SZ, wantedPipeSize);
}

} // namespace velquor

#include "core/files/LockFile.h"

#include "core/files/AtomicFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

[[noreturn]] void fail(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), "locking " + path.string());
}

constexpr std::size_t holderTextLimit = 256;

} // namespace

LockFile::LockFile(std::filesystem::path path, const std::string& program)
    : m_path(std::move(path)) {
    if (const auto folder = m_path.parent_path(); !folder.empty()) {
        createDirectories(folder);
    }
    // O_NONBLOCK: a FIFO put in its place must not hang the start; it is refused below.
    m_fd = FileDescriptor(
        ::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!m_fd.isOpen()) {
        fail(errno, m_path);
    }
    struct stat info {};
    if (::fstat(m_fd.get(), &info) != 0) {
        fail(errno, m_path);
    }
    if (!S_ISREG(info.st_mode)) {
        fail(EINVAL, m_path);
    }
    if (::flock(m_fd.get(), LOCK_EX | LOCK_NB) == 0) {
        m_held = true;
        recordHolder(program);
        return;
    }
    if (errno != EWOULDBLOCK) {
        fail(errno, m_path);
    }
    m_holder = readHolder();
}

void LockFile::recordHolder(const std::string& program) const {
    // Best effort: the lock itself is what counts; the name only makes the refusal clearer.
    const std::string text = LockHolder{::getpid(), program}.record();
    if (::ftruncate(m_fd.get(), 0) == 0) {
        [[maybe_unused]] const auto written = ::pwrite(m_fd.get(), text.data(), text.size(), 0);
    }
}

std::optional<LockHolder> LockFile::readHolder() const {
    char buffer[holderTextLimit];
    const auto got = ::pread(m_fd.get(), buffer, sizeof buffer, 0);
    if (got <= 0) {
        return std::nullopt;
    }
    return LockHolder::fromRecord(std::string_view(buffer, static_cast<std::size_t>(got)));
}

} // namespace velquor

#include "core/files/InstanceLock.h"

#include "core/files/AtomicFile.h"
#include "core/files/UserFolders.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
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

std::string InstanceLock::Holder::text() const {
    return program + " (PID " + std::to_string(pid) + ")";
}

InstanceLock::InstanceLock(std::filesystem::path path, const std::string& program)
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

void InstanceLock::recordHolder(const std::string& program) const {
    // Best effort: the lock itself is what counts; the name only makes the refusal clearer.
    const std::string text = std::to_string(::getpid()) + " " + program + "\n";
    if (::ftruncate(m_fd.get(), 0) == 0) {
        [[maybe_unused]] const auto written = ::pwrite(m_fd.get(), text.data(), text.size(), 0);
    }
}

std::optional<InstanceLock::Holder> InstanceLock::readHolder() const {
    char buffer[holderTextLimit];
    const auto got = ::pread(m_fd.get(), buffer, sizeof buffer, 0);
    if (got <= 0) {
        return std::nullopt;
    }
    const std::string_view text(buffer, static_cast<std::size_t>(got));
    Holder holder;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), holder.pid);
    const auto rest = text.substr(static_cast<std::size_t>(end - text.data()));
    if (error != std::errc() || holder.pid <= 0 || !rest.starts_with(' ') ||
        !rest.ends_with('\n')) {
        return std::nullopt;
    }
    // Only a plain program name is repeated to the user.
    holder.program = std::string(rest.substr(1, rest.size() - 2));
    if (holder.program.empty()) {
        return std::nullopt;
    }
    for (const char c : holder.program) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.')) {
            return std::nullopt;
        }
    }
    return holder;
}

std::filesystem::path InstanceLock::defaultPath() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        runtime != nullptr && *runtime == '/') {
        return std::filesystem::path(runtime) / "com.dravenloe.velquor.lock";
    }
    return UserFolders::xdg("XDG_STATE_HOME", ".local/state") / "Velquor" / "forwarder.lock";
}

} // namespace velquor

#include "core/files/AtomicFileWriter.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velquor {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
}

void syncFolder(const std::filesystem::path& folder) {
    // Makes the rename itself durable; some file systems refuse fsync on folders, harmlessly.
    FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() >= 0) {
        ::fsync(fd.get());
    }
}

void setMode(int fd, mode_t mode, const std::string& path) {
    if (::fchmod(fd, mode) != 0) {
        fail(errno, "setting the mode of " + path);
    }
}

// Named like the file with a random suffix, created exclusively so that the kernel applies the
// umask to the creation mode: mkstemp would always give 0600.
FileDescriptor createTemporaryFile(const std::filesystem::path& folder, const std::string& name,
                                   NewFileMode newFileMode, std::string& temporary) {
    static thread_local std::mt19937_64 random{std::random_device{}()};
    const mode_t mode = newFileMode == NewFileMode::privateToUser ? 0600 : 0666;
    for (int attempt = 0;; ++attempt) {
        char suffix[20];
        std::snprintf(suffix, sizeof suffix, ".%016llx", static_cast<unsigned long long>(random()));
        temporary = (folder / ("." + name + suffix)).string();
        FileDescriptor fd(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
        if (fd.get() >= 0) {
            return fd;
        }
        if (errno != EEXIST || attempt == 100) {
            fail(errno, "creating a temporary file in " + folder.string());
        }
    }
}

} // namespace

AtomicFileWriter::AtomicFileWriter(std::filesystem::path path, NewFileMode newFileMode)
    : m_path(std::move(path)),
      m_fd(createTemporaryFile(folderOf(m_path), m_path.filename().string(), newFileMode,
                               m_temporary)) {
    try {
        struct stat existing {};
        if (::stat(m_path.c_str(), &existing) == 0) {
            setMode(m_fd.get(), existing.st_mode & 07777, m_temporary);
        } else if (newFileMode == NewFileMode::privateToUser) {
            // Exactly 0600, whatever the umask left of it.
            setMode(m_fd.get(), 0600, m_temporary);
        }
    } catch (...) {
        ::unlink(m_temporary.c_str());
        throw;
    }
}

AtomicFileWriter::~AtomicFileWriter() {
    if (!m_committed) {
        ::unlink(m_temporary.c_str());
    }
}

void AtomicFileWriter::write(std::string_view bytes) {
    // A piece as large as the buffer goes straight to the file, without a copy.
    if (m_pending.empty() && bytes.size() >= bufferSize) {
        writeAll(m_fd.get(), bytes, m_temporary);
        return;
    }
    m_pending.append(bytes);
    if (m_pending.size() >= bufferSize) {
        flush();
    }
}

void AtomicFileWriter::flush() {
    writeAll(m_fd.get(), m_pending, m_temporary);
    m_pending.clear();
}

void AtomicFileWriter::commit() {
    flush();
    if (::fsync(m_fd.get()) != 0) {
        fail(errno, "flushing " + m_temporary);
    }
    if (m_fd.close() != 0) {
        fail(errno, "closing " + m_temporary);
    }
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        fail(errno, "replacing " + m_path.string());
    }
    m_committed = true;
    syncFolder(folderOf(m_path));
}

} // namespace velquor

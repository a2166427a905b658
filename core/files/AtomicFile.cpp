#include "core/files/AtomicFile.h"

#include "core/files/FileDescriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velquor {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
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

void writeAll(int fd, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const auto written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "writing " + path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         NewFileMode newFileMode) {
    const auto folder =
        path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
    std::string temporary;
    FileDescriptor fd =
        createTemporaryFile(folder, path.filename().string(), newFileMode, temporary);
    try {
        struct stat existing {};
        if (::stat(path.c_str(), &existing) == 0) {
            setMode(fd.get(), existing.st_mode & 07777, temporary);
        } else if (newFileMode == NewFileMode::privateToUser) {
            // Exactly 0600, whatever the umask left of it.
            setMode(fd.get(), 0600, temporary);
        }
        writeAll(fd.get(), bytes, temporary);
        if (::fsync(fd.get()) != 0) {
            fail(errno, "flushing " + temporary);
        }
        if (fd.close() != 0) {
            fail(errno, "closing " + temporary);
        }
        if (::rename(temporary.c_str(), path.c_str()) != 0) {
            fail(errno, "replacing " + path.string());
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    syncFolder(folder);
}

void createDirectories(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw std::system_error(error, "creating folder " + folder.string());
    }
}

} // namespace velquor

#include "core/files/AtomicFile.h"

#include "core/files/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
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

void syncFolder(const std::filesystem::path& folder) {
    // Makes the rename itself durable; some file systems refuse fsync on folders, harmlessly.
    FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() >= 0) {
        ::fsync(fd.get());
    }
}

} // namespace

void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    const auto folder =
        path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
    std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
    FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd.get() < 0) {
        fail(errno, "creating a temporary file in " + folder.string());
    }
    try {
        // Keep the permissions of the file being replaced; a new file gets the usual 0644.
        struct stat existing {};
        const mode_t mode =
            ::stat(path.c_str(), &existing) == 0 ? (existing.st_mode & 07777) : 0644;
        ::fchmod(fd.get(), mode);
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

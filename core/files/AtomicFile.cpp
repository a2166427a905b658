#include "core/files/AtomicFile.h"

#include "core/files/AtomicFileWriter.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
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
    AtomicFileWriter writer(path, newFileMode);
    writer.write(bytes);
    writer.commit();
}

void createDirectories(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw std::system_error(error, "creating folder " + folder.string());
    }
}

} // namespace velquor

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace velquor {

// How a file that does not exist yet is created. A file being replaced keeps its own mode,
// so a mode the user narrowed is never widened again.
enum class NewFileMode {
    privateToUser, // 0600: the configuration and the log may carry credentials
    userUmask,     // 0666 less the user's umask, as any program's new file
};

// Replaces the file at `path` with `bytes` so that a reader sees the old content or the new,
// never a mix: a temporary file in the same folder, flushed to disk, then renamed over it.
// The folder must exist. Throws std::system_error naming the step that failed; on failure
// the old file is untouched and the temporary file is removed.
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         NewFileMode newFileMode = NewFileMode::privateToUser);

// Writes all of bytes to fd, resuming after a partial write or a signal; throws
// std::system_error naming path.
void writeAll(int fd, std::string_view bytes, const std::string& path);

// Creates the folder with its parents when missing; throws std::system_error on failure.
void createDirectories(const std::filesystem::path& folder);

} // namespace velquor

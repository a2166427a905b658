#pragma once

#include <filesystem>
#include <string_view>

namespace velquor {

// Replaces the file at `path` with `bytes` so that a reader sees the old content or the new,
// never a mix: a temporary file in the same folder, flushed to disk, then renamed over it.
// The folder must exist. Throws std::system_error naming the step that failed; on failure
// the old file is untouched and the temporary file is removed.
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

// Creates the folder with its parents when missing; throws std::system_error on failure.
void createDirectories(const std::filesystem::path& folder);

} // namespace velquor

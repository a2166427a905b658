#pragma once

#include "core/files/AtomicFile.h"
#include "core/files/FileDescriptor.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace velquor {

// Replaces the file at a path with what is written, piece by piece, so that a reader sees the
// old content or the new, never a mix: a temporary file in the same folder, flushed to disk,
// then renamed over the path by commit(). Memory stays at one buffer of bufferSize however much
// is written. The file being replaced keeps its mode; a new one gets newFileMode. The folder
// must exist. Throws std::system_error naming the step that failed; without a commit, or when
// it fails, the old file is untouched and the temporary file is removed.
class AtomicFileWriter {
public:
    static constexpr std::size_t bufferSize = 64 * 1024;

    explicit AtomicFileWriter(std::filesystem::path path,
                              NewFileMode newFileMode = NewFileMode::privateToUser);
    ~AtomicFileWriter();
    AtomicFileWriter(const AtomicFileWriter&) = delete;
    AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;

    void write(std::string_view bytes);
    void commit();

private:
    void flush();

    std::filesystem::path m_path;
    std::string m_temporary;
    FileDescriptor m_fd;
    std::string m_pending;
    bool m_committed = false;
};

} // namespace velquor

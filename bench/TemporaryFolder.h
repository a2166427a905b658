#pragma once

#include <filesystem>

namespace velquor::bench {

// A fresh folder under ${TMPDIR:-/tmp}, removed with everything in it when released.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return m_path; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

} // namespace velquor::bench

#include "bench/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace velquor::bench {

TemporaryFolder::TemporaryFolder() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        (std::filesystem::path(base && *base ? base : "/tmp") / "velquor-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "creating " + pattern);
    }
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace velquor::bench

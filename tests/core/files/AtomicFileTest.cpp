#include "core/files/AtomicFile.h"

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace velquor {
namespace {

mode_t modeOf(const std::filesystem::path& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

TEST(AtomicFile, NewFilesArePrivateOrFollowTheUmaskAndReplacedOnesKeepTheirMode) {
    struct Case {
        NewFileMode mode;
        mode_t umask;
        mode_t created;
    };
    const Case cases[] = {
        {NewFileMode::privateToUser, 0, 0600},
        {NewFileMode::privateToUser, 0277, 0600},
        {NewFileMode::userUmask, 022, 0644},
        {NewFileMode::userUmask, 027, 0640},
    };
    for (const auto& [mode, umask, created] : cases) {
        test::TemporaryDirectory folder;
        const auto file = folder / "f";
        const mode_t previous = ::umask(umask);
        writeFileAtomically(file, "one", mode);
        EXPECT_EQ(modeOf(file), created) << std::oct << umask;
        ::chmod(file.c_str(), 0604);
        writeFileAtomically(file, "two", mode);
        ::umask(previous);
        EXPECT_EQ(modeOf(file), 0604u) << "a replaced file keeps its mode";
        EXPECT_EQ(test::readFile(file), "two");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    }
}

} // namespace
} // namespace velquor

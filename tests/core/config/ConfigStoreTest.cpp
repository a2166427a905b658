#include "core/config/ConfigStore.h"

#include "core/files/AtomicFile.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>

namespace velquor {
namespace {

using test::asideFiles;
using test::readFile;
using test::writeFile;

namespace fs = std::filesystem;

class ConfigStoreTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_folder = m_dir / "Velquor";
    fs::path m_file = m_folder / "config.json";
    ConfigStore m_store{m_file};

    void write(const std::string& bytes) {
        fs::create_directories(m_folder);
        writeFile(m_file, bytes);
    }
};

TEST_F(ConfigStoreTest, FirstLoadWritesTheDefaultsSortedAndPrivateAndSavesKeepTheUsersMode) {
    const mode_t previous = ::umask(022);
    EXPECT_EQ(m_store.load(), ForwarderConfig::defaults());
    ::umask(previous);
    // The documented defaults, keys sorted, pretty printed.
    const auto expected = nlohmann::json::parse(R"({"autoStart": false, "checkIntervalSeconds": 60,
        "desktopNotifications": true, "discoveryURL": "http://discovery.invalid/dynamic-port",
        "failureThreshold": 3, "listenHost": "127.0.0.1", "listenPort": 18082,
        "logRetentionDays": 1, "recentListenPorts": [18082]})");
    EXPECT_EQ(readFile(m_file), expected.dump(2) + "\n");
    EXPECT_EQ(fs::status(m_file).permissions(), fs::perms::owner_read | fs::perms::owner_write)
        << "it may carry a password in the discovery URL";

    const auto chosen = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    fs::permissions(m_file, chosen);
    m_store.save(ForwarderConfig::defaults());
    EXPECT_EQ(fs::status(m_file).permissions(), chosen);
}

TEST_F(ConfigStoreTest, DamagedFilesAreSetAsideWithEveryByteAndReplacedByDefaults) {
    auto valid = ForwarderConfig::defaults().toJson();
    auto with = [&](const char* key, nlohmann::json value) {
        auto json = valid;
        json[key] = std::move(value);
        return json.dump();
    };
    const std::pair<std::string, std::string> cases[] = {
        {"empty", ""},
        {"no keys", "{}"},
        {"truncated", valid.dump().substr(0, 40)},
        {"binary", "\x89PNG\r\n\x1A\n\xFF\x80"},
        {"port 80 decodes but is invalid", with("listenPort", 80)},
        {"huge", std::string(50 * 1024 * 1024, ' ') + valid.dump()},
        {"garbage after a NUL", valid.dump() + std::string(1, '\0') + "garbage"},
    };
    for (const auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        fs::remove_all(m_folder);
        write(bytes);
        const auto loaded = m_store.loadReporting();
        EXPECT_EQ(loaded.config, ForwarderConfig::defaults());
        const auto aside = asideFiles(m_folder);
        ASSERT_EQ(aside.size(), 1u);
        ASSERT_TRUE(loaded.setAside);
        EXPECT_EQ(loaded.setAside->path, aside[0]);
        EXPECT_FALSE(loaded.setAside->reason.empty());
        EXPECT_EQ(readFile(aside[0]), bytes) << "the damaged file lost bytes";
        EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(readFile(m_file))),
                  ForwarderConfig::defaults());
    }
}

TEST_F(ConfigStoreTest, AFolderInPlaceOfTheFileIsSetAsideWithItsContents) {
    fs::create_directories(m_file / "inner");
    writeFile(m_file / "inner" / "keep.txt", "keep");
    EXPECT_EQ(m_store.load(), ForwarderConfig::defaults());
    const auto aside = asideFiles(m_folder);
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(readFile(aside[0] / "inner" / "keep.txt"), "keep");
    EXPECT_TRUE(fs::is_regular_file(m_file));
}

// Hosts and a cached target are kept as written: the socat command refuses those it must.
TEST_F(ConfigStoreTest, SaveValidatesThePortsAndSaveInternalWritesAsGiven) {
    m_store.load();
    const auto before = readFile(m_file);
    auto config = ForwarderConfig::defaults();
    config.listenPort = 65536;
    config.listenHost = "::1";
    EXPECT_THROW(m_store.save(config), ForwarderConfig::ValidationError);
    EXPECT_EQ(readFile(m_file), before);
    m_store.saveInternal(config);
    const auto saved = nlohmann::json::parse(readFile(m_file));
    EXPECT_EQ(saved["listenPort"], 65536);
    EXPECT_EQ(saved["listenHost"], "::1");
}

// Two files damaged within one second: the later one must neither stay in place nor replace
// the earlier one.
TEST_F(ConfigStoreTest, AnAsideNameAlreadyTakenGetsASuffixAndEarlierAsideFilesStay) {
    write("{}");
    // Occupy every name the rename could pick around now, whatever second the load lands in.
    const auto now = std::chrono::system_clock::now();
    for (int offset = -1; offset <= 3; ++offset) {
        const auto t = std::chrono::system_clock::to_time_t(now + std::chrono::seconds(offset));
        std::tm utc{};
        gmtime_r(&t, &utc);
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H-%M-%SZ", &utc);
        writeFile(m_folder / (std::string("config.json.invalid-") + stamp), "older");
    }
    const auto aside = m_store.loadReporting().setAside;
    ASSERT_TRUE(aside);
    EXPECT_EQ(readFile(aside->path), "{}");
    EXPECT_TRUE(aside->path.filename().string().ends_with("Z-2")) << aside->path;
    const auto all = asideFiles(m_folder);
    EXPECT_EQ(all.size(), 6u);
    EXPECT_EQ(std::ranges::count_if(all, [](auto& p) { return readFile(p) == "older"; }), 5);
}

TEST_F(ConfigStoreTest, AFolderThatCannotBeMadeFailsTheLoadAndKeepsWhatIsInTheWay) {
    writeFile(m_dir / "blocker", "a file where the folder should be");
    EXPECT_THROW(ConfigStore(m_dir / "blocker" / "config.json").load(), std::system_error);
    EXPECT_EQ(readFile(m_dir / "blocker"), "a file where the folder should be");
}

// A file we may not read or replace is the user's business, not damage: it stays as it is.
TEST_F(ConfigStoreTest, PermissionFailuresAreReportedAndChangeNothing) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads and writes every file";
    }
    const auto bytes = ForwarderConfig::defaults().toJson().dump();
    write(bytes);
    fs::permissions(m_file, fs::perms::none);
    EXPECT_THROW(m_store.load(), std::system_error);
    fs::permissions(m_file, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(m_folder, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_THROW(m_store.save(ForwarderConfig::defaults()), std::system_error);
    fs::permissions(m_folder, fs::perms::owner_all);
    EXPECT_EQ(readFile(m_file), bytes);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 1)
        << "a file was set aside or a temporary one left behind";
}

// A sparse file from a later version loads as it is; the save goes through the link to the real
// file and leaves out what this version does not know.
TEST_F(ConfigStoreTest, ASparseSymlinkedFileLoadsAndIsWrittenThroughToItsTarget) {
    auto json = ForwarderConfig::defaults().toJson();
    json.erase("recentListenPorts");
    json["futureSetting"] = true;
    const auto real = m_dir / "dotfiles" / "velquor.json";
    fs::create_directories(real.parent_path());
    writeFile(real, json.dump());
    fs::create_directories(m_folder);
    fs::create_symlink("../dotfiles/velquor.json", m_file);
    auto config = m_store.load();
    EXPECT_TRUE(asideFiles(m_folder).empty());
    config.autoStart = true;
    m_store.save(config);
    EXPECT_EQ(fs::read_symlink(m_file), "../dotfiles/velquor.json");
    const auto saved = nlohmann::json::parse(readFile(real));
    EXPECT_EQ(saved["autoStart"], true);
    EXPECT_FALSE(saved.contains("futureSetting"));
    EXPECT_EQ(std::distance(fs::directory_iterator(real.parent_path()), {}), 1);
}

// A link to a file not made yet is no file: the defaults are written through it.
TEST_F(ConfigStoreTest, ASymlinkToNothingIsAMissingFileWrittenThrough) {
    fs::create_directories(m_folder);
    fs::create_symlink("../dotfiles/velquor.json", m_file);
    EXPECT_EQ(m_store.load(), ForwarderConfig::defaults());
    EXPECT_TRUE(fs::is_symlink(m_file) && asideFiles(m_folder).empty());
    EXPECT_FALSE(readFile(m_dir / "dotfiles" / "velquor.json").empty());
}

TEST_F(ConfigStoreTest, OnlyAChangeByAnotherHandSinceTheLastReadOrWriteCounts) {
    EXPECT_FALSE(m_store.changedOnDisk()) << "nothing read yet";
    m_store.load();
    EXPECT_FALSE(m_store.changedOnDisk());
    writeFile(m_file, readFile(m_file) + " ");
    EXPECT_TRUE(m_store.changedOnDisk());
    m_store.load();
    EXPECT_FALSE(m_store.changedOnDisk());
    fs::rename(m_file, m_dir / "elsewhere");
    EXPECT_FALSE(m_store.changedOnDisk()) << "a removed file has nothing to load";
    fs::rename(m_dir / "elsewhere", m_file);
    m_store.save(ForwarderConfig::defaults());
    EXPECT_FALSE(m_store.changedOnDisk());
}

TEST(AtomicFile, NewFilesArePrivateOrFollowTheUmaskAndReplacedOnesKeepTheirMode) {
    const std::tuple<NewFileMode, mode_t, fs::perms> cases[] = {
        {NewFileMode::privateToUser, 0, fs::perms(0600)},
        {NewFileMode::privateToUser, 0277, fs::perms(0600)},
        {NewFileMode::userUmask, 022, fs::perms(0644)},
        {NewFileMode::userUmask, 027, fs::perms(0640)},
    };
    for (const auto& [mode, umask, created] : cases) {
        test::TemporaryDirectory folder;
        const auto file = folder / "f";
        const mode_t previous = ::umask(umask);
        writeFileAtomically(file, "one", mode);
        EXPECT_EQ(fs::status(file).permissions(), created) << std::oct << umask;
        fs::permissions(file, fs::perms(0604));
        writeFileAtomically(file, "two", mode);
        ::umask(previous);
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0604))
            << "a replaced file keeps its mode";
        EXPECT_EQ(test::readFile(file), "two");
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
    }
}

} // namespace
} // namespace velquor

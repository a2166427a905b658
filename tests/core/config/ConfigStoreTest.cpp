#include "core/config/ConfigStore.h"

#include "tests/support/Files.h"
#include "tests/support/HostileHosts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace velquor {
namespace {

using test::asideFiles;
using test::readFile;
using test::writeFile;

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class ConfigStoreTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_dir;
    fs::path m_file = m_dir / "Velquor" / "config.json";
    ConfigStore m_store{m_file};

    void expectSetAsideAndReplaced(const std::string& bytes) {
        const auto loaded = m_store.loadReporting();
        EXPECT_EQ(loaded.config, ForwarderConfig::defaults());
        const auto aside = asideFiles(m_file.parent_path());
        ASSERT_EQ(aside.size(), 1u);
        ASSERT_TRUE(loaded.setAside);
        EXPECT_EQ(loaded.setAside->path, aside[0]);
        EXPECT_FALSE(loaded.setAside->reason.empty());
        EXPECT_EQ(readFile(aside[0]), bytes) << "the damaged file lost bytes";
        EXPECT_EQ(ForwarderConfig::fromJson(nlohmann::json::parse(readFile(m_file))),
                  ForwarderConfig::defaults());
    }
};

TEST_F(ConfigStoreTest, FirstLoadCreatesFolderAndSortedDefaultFile) {
    EXPECT_EQ(m_store.load(), ForwarderConfig::defaults());
    const auto text = readFile(m_file);
    const auto json = nlohmann::json::parse(text);
    EXPECT_FALSE(json.contains("target"));
    EXPECT_EQ(json["recentListenPorts"], nlohmann::json({18082}));
    EXPECT_LT(text.find("\"autoStart\""), text.find("\"checkIntervalSeconds\""));
    EXPECT_LT(text.find("\"logRetentionDays\""), text.find("\"recentListenPorts\""));
    EXPECT_NE(text.find("\n  \"listenPort\": 18082"), std::string::npos) << "not pretty printed";
    EXPECT_TRUE(asideFiles(m_file.parent_path()).empty());
}

TEST_F(ConfigStoreTest, DamagedFilesAreSetAsideWithEveryByteAndReplacedByDefaults) {
    auto valid = ForwarderConfig::defaults().toJson();
    std::string garbage(4096, '\0');
    for (std::size_t i = 0; i < garbage.size(); ++i) {
        garbage[i] = static_cast<char>((i * 131 + 7) % 256);
    }
    auto with = [&](const char* key, nlohmann::json value) {
        auto json = valid;
        json[key] = std::move(value);
        return json.dump();
    };
    std::vector<std::pair<std::string, std::string>> cases = {
        {"empty", ""},
        {"no keys", "{}"},
        {"truncated", valid.dump().substr(0, 40)},
        {"binary", garbage},
        {"port 80 decodes but is invalid", with("listenPort", 80)},
        {"fractional port", with("listenPort", 18082.5)},
        {"string port", with("listenPort", "18082")},
        {"huge", std::string(50 * 1024 * 1024, ' ') + valid.dump()},
        {"garbage after a NUL", valid.dump() + std::string(1, '\0') + "garbage"},
        {"target port 0", with("target", {{"host", "10.0.0.5"}, {"port", 0}})},
        {"target without host", with("target", {{"host", ""}, {"port", 3260}})},
    };
    for (const auto& host : test::hostileHosts()) {
        cases.emplace_back("listenHost " + host, with("listenHost", host));
        cases.emplace_back("target " + host, with("target", {{"host", host}, {"port", 3260}}));
    }
    for (const auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        fs::remove_all(m_file.parent_path());
        fs::create_directories(m_file.parent_path());
        writeFile(m_file, bytes);
        expectSetAsideAndReplaced(bytes);
    }
}

TEST_F(ConfigStoreTest, AFolderInPlaceOfTheFileIsSetAsideWithItsContents) {
    fs::create_directories(m_file / "inner");
    writeFile(m_file / "inner" / "keep.txt", "keep");
    EXPECT_EQ(m_store.load(), ForwarderConfig::defaults());
    const auto aside = asideFiles(m_file.parent_path());
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(readFile(aside[0] / "inner" / "keep.txt"), "keep");
    EXPECT_TRUE(fs::is_regular_file(m_file));
}

TEST_F(ConfigStoreTest, SparseFileLoadsAndUnknownKeysAreDroppedOnNextWrite) {
    auto json = ForwarderConfig::defaults().toJson();
    json.erase("recentListenPorts");
    json["listenPort"] = 20000;
    json["futureSetting"] = true;
    fs::create_directories(m_file.parent_path());
    writeFile(m_file, json.dump());

    auto config = m_store.load();
    EXPECT_TRUE(asideFiles(m_file.parent_path()).empty());
    EXPECT_THAT(config.recentListenPorts, ElementsAre(20000));
    m_store.save(config);
    EXPECT_FALSE(nlohmann::json::parse(readFile(m_file)).contains("futureSetting"));
    EXPECT_EQ(m_store.load(), config);
}

TEST_F(ConfigStoreTest, SaveValidatesAndSaveInternalStillRefusesHosts) {
    m_store.load();
    const auto before = readFile(m_file);
    auto config = ForwarderConfig::defaults();
    config.listenPort = 65536;
    EXPECT_THROW(m_store.save(config), ForwarderConfig::ValidationError);
    EXPECT_EQ(readFile(m_file), before);

    for (const auto& host : test::hostileHosts()) {
        auto listening = ForwarderConfig::defaults();
        listening.listenHost = host;
        EXPECT_THROW(m_store.save(listening), ForwarderConfig::ValidationError);
        EXPECT_THROW(m_store.saveInternal(listening), ForwarderConfig::ValidationError);
        auto targeting = ForwarderConfig::defaults();
        targeting.target = TargetEndpoint::fromJson({{"host", host}, {"port", 3260}});
        EXPECT_THROW(m_store.save(targeting), TargetEndpoint::ValidationError);
        EXPECT_THROW(m_store.saveInternal(targeting), TargetEndpoint::ValidationError);
    }
    EXPECT_EQ(readFile(m_file), before);

    m_store.saveInternal(config);
    EXPECT_EQ(nlohmann::json::parse(readFile(m_file))["listenPort"], 65536);
}

TEST_F(ConfigStoreTest, AnAsideNameAlreadyTakenFailsTheLoadAndKeepsTheDamagedFile) {
    fs::create_directories(m_file.parent_path());
    writeFile(m_file, "{}");
    // Occupy every name the rename could pick around now, whatever second the load lands in.
    const auto now = std::chrono::system_clock::now();
    for (int offset = -1; offset <= 3; ++offset) {
        const auto t = std::chrono::system_clock::to_time_t(now + std::chrono::seconds(offset));
        std::tm utc{};
        gmtime_r(&t, &utc);
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H-%M-%SZ", &utc);
        writeFile(m_file.parent_path() / (std::string("config.json.invalid-") + stamp), "older");
    }
    EXPECT_THROW(m_store.load(), std::system_error);
    EXPECT_EQ(readFile(m_file), "{}");
}

TEST_F(ConfigStoreTest, WriteFailuresAreReportedAndLeaveNothingBehind) {
    writeFile(m_dir / "blocker", "a file where the folder should be");
    ConfigStore blocked(m_dir / "blocker" / "config.json");
    EXPECT_THROW(blocked.load(), std::system_error);
    EXPECT_EQ(readFile(m_dir / "blocker"), "a file where the folder should be");

    m_store.load();
    const auto before = readFile(m_file);
    fs::permissions(m_file.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) { // root writes anyway
        auto config = ForwarderConfig::defaults();
        config.autoStart = true;
        EXPECT_THROW(m_store.save(config), std::system_error);
        EXPECT_EQ(readFile(m_file), before);
    }
    fs::permissions(m_file.parent_path(), fs::perms::owner_all);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_file.parent_path()), {}), 1)
        << "a temporary file was left behind";
}

mode_t modeOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

TEST_F(ConfigStoreTest, TheFileIsCreatedPrivateAndKeepsAModeTheUserChose) {
    const mode_t previous = ::umask(022);
    m_store.load();
    ::umask(previous);
    EXPECT_EQ(modeOf(m_file), 0600u) << "it may carry a password in the discovery URL";
    fs::permissions(m_file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    m_store.save(ForwarderConfig::defaults());
    EXPECT_EQ(modeOf(m_file), 0640u);
}

TEST_F(ConfigStoreTest, ASymlinkedFileIsWrittenThroughToItsTarget) {
    const auto real = m_dir / "dotfiles" / "velquor.json";
    fs::create_directories(real.parent_path());
    fs::create_directories(m_file.parent_path());
    writeFile(real, ForwarderConfig::defaults().toJson().dump());
    fs::create_symlink("../dotfiles/velquor.json", m_file);
    auto config = m_store.load();
    config.autoStart = true;
    m_store.save(config);
    EXPECT_TRUE(fs::is_symlink(m_file));
    EXPECT_EQ(fs::read_symlink(m_file), "../dotfiles/velquor.json");
    EXPECT_EQ(nlohmann::json::parse(readFile(real))["autoStart"], true);
    EXPECT_EQ(std::distance(fs::directory_iterator(real.parent_path()), {}), 1);
}

TEST_F(ConfigStoreTest, AFileWeMayNotReadIsReportedAndLeftInPlace) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    fs::create_directories(m_file.parent_path());
    writeFile(m_file, "{\"mine\": true}");
    fs::permissions(m_file, fs::perms::none);
    EXPECT_THROW(m_store.load(), std::system_error);
    fs::permissions(m_file, fs::perms::owner_all);
    EXPECT_EQ(readFile(m_file), "{\"mine\": true}");
    EXPECT_TRUE(asideFiles(m_file.parent_path()).empty());
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

} // namespace
} // namespace velquor

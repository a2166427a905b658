#include "core/service/DefaultController.h"

#include "core/files/UserFolders.h"
#include "tests/support/Files.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace velquor {
namespace {

namespace fs = std::filesystem;

enum class Entry { missing, executable, plainFile, folder };

void place(const fs::path& path, Entry entry) {
    if (entry == Entry::missing) {
        return;
    }
    fs::create_directories(entry == Entry::folder ? path : path.parent_path());
    if (entry != Entry::folder) {
        test::writeFile(path, "#!/bin/sh\n");
        fs::permissions(path, entry == Entry::executable
                                  ? fs::perms::owner_all
                                  : fs::perms::owner_read | fs::perms::owner_write);
    }
}

struct SocatSearch {
    Entry bundled, homebrew, local, system;
    const char* found; // below the root
};

// The copy shipped beside the program wins; then the first executable system candidate; the
// last one is taken unchecked, so a missing socat surfaces as a launch error later.
TEST(DefaultController, SearchesSocatBesideTheProgramThenInTheSystemFoldersInOrder) {
    using enum Entry;
    const SocatSearch cases[] = {
        {executable, executable, executable, executable, "libexec/velquor/socat"},
        {missing, plainFile, executable, executable, "local/socat"},
        {plainFile, executable, missing, missing, "homebrew/socat"},
        {folder, folder, executable, missing, "local/socat"},
        {missing, missing, missing, missing, "system/socat"},
        {missing, plainFile, plainFile, plainFile, "system/socat"},
    };
    for (const auto& c : cases) {
        const test::TemporaryDirectory root;
        place(root / "bin", Entry::folder);
        place(root / "libexec" / "velquor" / "socat", c.bundled);
        const std::vector<fs::path> candidates = {
            root / "homebrew" / "socat", root / "local" / "socat", root / "system" / "socat"};
        place(candidates[0], c.homebrew);
        place(candidates[1], c.local);
        place(candidates[2], c.system);
        EXPECT_EQ(DefaultController::resolveSocatURL(root / "bin", candidates), root / c.found)
            << c.found;
        if (c.bundled == executable) {
            EXPECT_EQ(DefaultController::resolveSocatURL("", candidates), candidates[0])
                << "without a program folder the system folders are searched";
        }
    }
    EXPECT_EQ(DefaultController::systemSocatCandidates(),
              (std::vector<fs::path>{"/opt/homebrew/bin/socat", "/usr/local/bin/socat",
                                     "/usr/bin/socat"}));
}

struct Locations {
    std::optional<std::string> home, configHome, stateHome;
    std::string configFile, logFile; // "~" stands for the password database's home folder
};

TEST(DefaultController, FileLocationsFollowTheXdgFoldersWhenAbsoluteAndHomeOtherwise) {
    const fs::path passwdHome = ::getpwuid(::getuid())->pw_dir;
    const Locations cases[] = {
        {"/home/u", std::nullopt, std::nullopt, "/home/u/.config/Velquor/config.json",
         "/home/u/.local/state/Velquor/service.log"},
        {"/home/u", "/xdg/c", "/xdg/s", "/xdg/c/Velquor/config.json", "/xdg/s/Velquor/service.log"},
        {"/home/u", "relative/c", "", "/home/u/.config/Velquor/config.json",
         "/home/u/.local/state/Velquor/service.log"},
        {"relative/home", std::nullopt, "/xdg/s", "~/.config/Velquor/config.json",
         "/xdg/s/Velquor/service.log"},
        {std::nullopt, std::nullopt, std::nullopt, "~/.config/Velquor/config.json",
         "~/.local/state/Velquor/service.log"},
    };
    const auto expand = [&](const std::string& path) {
        return path.starts_with("~") ? passwdHome / path.substr(2) : fs::path(path);
    };
    for (const auto& c : cases) {
        test::ScopedEnvironment environment;
        environment.set("HOME", c.home);
        environment.set("XDG_CONFIG_HOME", c.configHome);
        environment.set("XDG_STATE_HOME", c.stateHome);
        const auto locations = FileLocations::forCurrentUser();
        EXPECT_EQ(locations.configFile, expand(c.configFile)) << c.configFile;
        EXPECT_EQ(locations.logFile, expand(c.logFile)) << c.logFile;
        EXPECT_EQ(locations.applicationFolder, locations.configFile.parent_path());
        EXPECT_EQ(locations.logFolder, locations.logFile.parent_path());
    }
}

TEST(DefaultController, BuildsWithoutTouchingAFreshAccountAndTheFirstLoadCreatesTheFiles) {
    const test::TemporaryDirectory home;
    test::ScopedEnvironment environment;
    environment.set("HOME", home.path().string());
    environment.set("XDG_CONFIG_HOME", std::nullopt);
    environment.set("XDG_STATE_HOME", std::nullopt);
    const auto locations = FileLocations::forCurrentUser();
    const auto controller = DefaultController::makeDefaultController(locations);
    EXPECT_TRUE(fs::is_empty(home.path()));
    const auto snapshot = controller->load(false);
    EXPECT_EQ(snapshot.status, ServiceStatus::stopped);
    EXPECT_EQ(snapshot.config, ForwarderConfig::defaults());
    EXPECT_TRUE(fs::is_regular_file(locations.configFile));
    EXPECT_NE(test::readFile(locations.logFile).find("Configuration loaded"), std::string::npos);
}

} // namespace
} // namespace velquor

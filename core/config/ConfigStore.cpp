#include "core/config/ConfigStore.h"

#include "core/files/AtomicFile.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <system_error>

namespace velquor {

namespace {

// 2026-11-16T20:17:01Z with every ":" made "-", so the name is valid on every file system.
std::string asideTimestamp() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H-%M-%SZ", &utc);
    return text;
}

std::string readWholeFile(const std::filesystem::path& path) {
    if (std::filesystem::is_directory(path)) {
        throw std::system_error(EISDIR, std::generic_category(), "reading " + path.string());
    }
    if (std::filesystem::file_size(path) > ConfigStore::maximumFileSize) {
        throw std::system_error(EFBIG, std::generic_category(), "reading " + path.string());
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    if (!in || !(content << in.rdbuf())) {
        throw std::system_error(errno, std::generic_category(), "reading " + path.string());
    }
    return std::move(content).str();
}

// Unlike rename(2), never replaces an earlier set-aside file of the same second.
void renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return;
    }
    int error = errno;
    if (error == EINVAL || error == ENOSYS) { // file system without RENAME_NOREPLACE
        std::error_code ignored;
        error = std::filesystem::exists(to, ignored) ? EEXIST : 0;
        if (error == 0 && std::rename(from.c_str(), to.c_str()) != 0) {
            error = errno;
        }
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(),
                                "moving " + from.string() + " to " + to.string());
    }
}

} // namespace

ConfigStore::ConfigStore(std::filesystem::path configURL) : m_configURL(std::move(configURL)) {}

ForwarderConfig ConfigStore::load() const {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(m_configURL, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        saveInternal(ForwarderConfig::defaults());
        return ForwarderConfig::defaults();
    }
    try {
        return readValidConfig();
    } catch (const std::exception&) {
        // Why the file was unusable is not reported; its bytes stay in the set-aside file.
        moveCorruptedConfigAside();
        saveInternal(ForwarderConfig::defaults());
        return ForwarderConfig::defaults();
    }
}

ForwarderConfig ConfigStore::readValidConfig() const {
    const auto json = nlohmann::json::parse(readWholeFile(m_configURL));
    return ForwarderConfig::fromJson(json).validated();
}

void ConfigStore::save(const ForwarderConfig& config) const {
    saveInternal(config.validated());
}

void ConfigStore::saveInternal(const ForwarderConfig& config) const {
    const auto folder = m_configURL.parent_path();
    if (!folder.empty()) {
        createDirectories(folder);
    }
    writeFileAtomically(m_configURL, config.toJson().dump(2) + "\n");
}

void ConfigStore::moveCorruptedConfigAside() const {
    std::error_code error;
    if (std::filesystem::symlink_status(m_configURL, error).type() ==
        std::filesystem::file_type::not_found) {
        return;
    }
    const auto aside = m_configURL.parent_path() / ("config.json.invalid-" + asideTimestamp());
    renameWithoutReplacing(m_configURL, aside);
}

} // namespace velquor

#include "core/files/InstanceLock.h"

#include "core/config/ConfigStore.h"

#include <system_error>

namespace velquor {

namespace {

std::filesystem::path lockPathBeside(const std::filesystem::path& file) {
    return file.parent_path() / ("." + file.filename().string() + ".lock");
}

bool isPermissionError(const std::error_code& code) {
    return code == std::errc::permission_denied || code == std::errc::operation_not_permitted ||
           code == std::errc::read_only_file_system;
}

} // namespace

InstanceLock::InstanceLock(const std::filesystem::path& configFile,
                           const std::filesystem::path& logFile, const std::string& program) {
    if (!lockBeside(configFile, program) || !lockBeside(logFile, program)) {
        m_files.clear();
        return;
    }
    // Only a port the file names: the defaults' port is claimed when forwarding starts on it,
    // so a program left on the defaults (a damaged file) holds no port it does not use.
    const auto config = ConfigStore(configFile).peek();
    if (!config) {
        m_held = true;
        return;
    }
    m_port.emplace(config->listenPort);
    if (!m_port->isHeld()) {
        m_holder = m_port->holder();
        m_port.reset();
        m_files.clear();
        return;
    }
    m_held = true;
}

bool InstanceLock::lockBeside(const std::filesystem::path& file, const std::string& program) {
    std::vector<std::filesystem::path> candidates;
    std::error_code error;
    if (const auto real = std::filesystem::canonical(file, error); !error) {
        candidates.push_back(lockPathBeside(real));
    }
    candidates.push_back(lockPathBeside(file));
    for (const auto& path : candidates) {
        try {
            LockFile lock(path, program);
            if (!lock.isHeld()) {
                m_holder = lock.holder();
                return false;
            }
            m_files.push_back(std::move(lock));
            return true;
        } catch (const std::system_error& failure) {
            if (!isPermissionError(failure.code())) {
                throw;
            }
        }
    }
    return true;
}

} // namespace velquor

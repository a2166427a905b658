#pragma once

#include <cstdint>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <vector>

namespace velquor {

// Starts a program by its path with a clean signal state and no descriptor of ours beyond
// 0, 1 and 2: a long-running service must not leak its sockets and pipes into children it does
// not control, nor the signals it blocks or ignores, which survive exec.
class ProcessSpawner {
public:
    // Throws std::system_error when the spawn settings cannot be allocated.
    ProcessSpawner();
    ~ProcessSpawner();
    ProcessSpawner(const ProcessSpawner&) = delete;
    ProcessSpawner& operator=(const ProcessSpawner&) = delete;

    // The child's descriptor childDescriptor becomes a copy of our parentDescriptor.
    void mapDescriptor(int parentDescriptor, int childDescriptor);
    // The child's descriptor childDescriptor is /dev/null opened with openFlags.
    void mapToNullDevice(int childDescriptor, int openFlags);
    // The child leads a process group of its own, so that it can be killed with its helpers.
    void startNewProcessGroup();

    // The environment and working directory are ours; argv[0] is the path. Throws
    // std::system_error "launching <path>" with the errno of the failure.
    std::int32_t spawn(const std::filesystem::path& executable,
                       const std::vector<std::string>& arguments);

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
    short m_flags = 0;
    bool m_closesOthers = false;
};

} // namespace velquor

#include "core/process/ProcessSpawner.h"

#include <csignal>
#include <system_error>
#include <unistd.h>

namespace velquor {

namespace {

void check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "preparing to launch a process");
    }
}

} // namespace

ProcessSpawner::ProcessSpawner() {
    check(::posix_spawn_file_actions_init(&m_actions));
    if (const int error = ::posix_spawnattr_init(&m_attributes); error != 0) {
        ::posix_spawn_file_actions_destroy(&m_actions);
        check(error);
    }
    sigset_t nothingBlocked;
    sigemptyset(&nothingBlocked);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGPIPE, SIGTERM, SIGINT, SIGCHLD, SIGHUP, SIGQUIT}) {
        sigaddset(&defaults, signal);
    }
    // Neither call can fail with valid sets.
    ::posix_spawnattr_setsigmask(&m_attributes, &nothingBlocked);
    ::posix_spawnattr_setsigdefault(&m_attributes, &defaults);
    m_flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
}

ProcessSpawner::~ProcessSpawner() {
    ::posix_spawnattr_destroy(&m_attributes);
    ::posix_spawn_file_actions_destroy(&m_actions);
}

void ProcessSpawner::mapDescriptor(int parentDescriptor, int childDescriptor) {
    check(::posix_spawn_file_actions_adddup2(&m_actions, parentDescriptor, childDescriptor));
}

void ProcessSpawner::mapToNullDevice(int childDescriptor, int openFlags) {
    check(
        ::posix_spawn_file_actions_addopen(&m_actions, childDescriptor, "/dev/null", openFlags, 0));
}

void ProcessSpawner::startNewProcessGroup() {
    check(::posix_spawnattr_setpgroup(&m_attributes, 0));
    m_flags |= POSIX_SPAWN_SETPGROUP;
}

std::int32_t ProcessSpawner::spawn(const std::filesystem::path& executable,
                                   const std::vector<std::string>& arguments) {
    // File actions run in order: closing comes last so that the mapped descriptors survive it.
    if (!m_closesOthers) {
        check(::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
        m_closesOthers = true;
    }
    check(::posix_spawnattr_setflags(&m_attributes, m_flags));

    std::vector<std::string> words;
    words.reserve(arguments.size() + 1);
    words.push_back(executable.string());
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, executable.c_str(), &m_actions, &m_attributes, argv.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "launching " + executable.string());
    }
    return pid;
}

} // namespace velquor

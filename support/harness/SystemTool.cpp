#include "support/harness/SystemTool.h"

#include "core/files/FileDescriptor.h"
#include "core/process/ProcessRunner.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace velquor::harness {

std::filesystem::path SystemTool::find(const std::string& name) {
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        const std::filesystem::path candidate = folder + name;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    throw std::runtime_error(name + " is not installed (scripts/install-deps installs it)");
}

std::string SystemTool::run(const std::string& name, const std::vector<std::string>& arguments,
                            std::chrono::milliseconds timeout) {
    const ProcessRunner runner(find(name), arguments, timeout);
    const auto result = runner.run();
    if (result.exitCode != 0) {
        throw std::runtime_error(runner.commandLine() + " failed: " + result.standardOutput);
    }
    return result.standardOutput;
}

std::int64_t freeLoopbackPort() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (!socket.isOpen() ||
        ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "binding 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

} // namespace velquor::harness

#include "support/harness/SystemTool.h"

#include "core/process/ProcessRunner.h"

#include <stdexcept>
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

} // namespace velquor::harness

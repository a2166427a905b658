#include "bench/SystemTool.h"

#include <stdexcept>
#include <unistd.h>

namespace velquor::bench {

std::filesystem::path SystemTool::find(const std::string& name) {
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        const std::filesystem::path candidate = folder + name;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    throw std::runtime_error(name + " is not installed (scripts/install-deps installs it)");
}

} // namespace velquor::bench

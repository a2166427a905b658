#include "tests/support/Files.h"

#include <fstream>
#include <sstream>

namespace velquor::test {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return std::move(content).str();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::filesystem::path> asideFiles(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> result;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with("config.json.invalid-")) {
            result.push_back(entry.path());
        }
    }
    return result;
}

} // namespace velquor::test

#include "bench/FileText.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velquor::bench {

namespace {

std::string read(std::ifstream& in) {
    std::ostringstream text;
    text << in.rdbuf();
    return std::move(text).str();
}

} // namespace

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return read(in);
}

std::string requiredContentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file.string());
    }
    return read(in);
}

} // namespace velquor::bench

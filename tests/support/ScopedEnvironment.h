#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velquor::test {

// Sets environment variables for a test and puts each back as it was when the test ends.
class ScopedEnvironment {
public:
    ScopedEnvironment() = default;
    ~ScopedEnvironment() {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            it->second ? ::setenv(it->first.c_str(), it->second->c_str(), 1)
                       : ::unsetenv(it->first.c_str());
        }
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

    // Nothing unsets the variable.
    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* old = std::getenv(name.c_str());
        m_saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
};

} // namespace velquor::test

#pragma once

#include <exception>
#include <string>

namespace velquor {

// Base of every error value of the core. Each derived type is a case with its payload and
// compares by both; what() is the text form "caseName(payload)" that logs and snapshots show.
class Error : public std::exception {
public:
    const char* what() const noexcept override { return m_text.c_str(); }

protected:
    explicit Error(std::string text) : m_text(std::move(text)) {}

private:
    std::string m_text;
};

} // namespace velquor

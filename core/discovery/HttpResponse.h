#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velquor {

// The head of one HTTP response; the body is never kept.
struct HttpResponse {
    long status = 0;
    // In arrival order, values without the surrounding blanks HTTP allows.
    std::vector<std::pair<std::string, std::string>> headers;

    // The first field of that name, compared without regard to case as HTTP requires.
    std::optional<std::string> header(std::string_view name) const;
};

} // namespace velquor

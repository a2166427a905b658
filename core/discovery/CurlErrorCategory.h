#pragma once

#include <string>
#include <system_error>

namespace velquor {

// Error codes of libcurl's easy interface (CURLcode values), described by curl_easy_strerror.
class CurlErrorCategory : public std::error_category {
public:
    static const CurlErrorCategory& instance() noexcept;

    const char* name() const noexcept override { return "curl"; }
    std::string message(int code) const override;
};

} // namespace velquor

#include "core/discovery/CurlErrorCategory.h"

#include <curl/curl.h>

namespace velquor {

const CurlErrorCategory& CurlErrorCategory::instance() noexcept {
    static const CurlErrorCategory category;
    return category;
}

std::string CurlErrorCategory::message(int code) const {
    return curl_easy_strerror(static_cast<CURLcode>(code));
}

} // namespace velquor

#pragma once

#include "core/discovery/HttpSession.h"

#include <cstddef>

namespace velquor {

// GET over libcurl, http and https only. Nothing outlives a request: each one has its own
// handle, with no cookies, netrc, proxy or caches, so requests may run on any threads at once.
// The transfer ends as soon as the head of the final response is in; the body is never read.
class CurlHttpSession : public HttpSession {
public:
    // Beyond this many bytes of header lines the answer is refused rather than collected.
    static constexpr std::size_t headerLimit = 64 * 1024;

    HttpResponse get(const Url& url, std::chrono::milliseconds timeout) override;
};

} // namespace velquor

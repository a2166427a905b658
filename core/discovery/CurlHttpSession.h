#pragma once

#include "core/discovery/HttpSession.h"

#include <chrono>
#include <cstddef>
#include <functional>

namespace velquor {

// GET over libcurl, http and https only. Nothing outlives a request: each one has its own
// handle, with no cookies, netrc or caches (only the proxy variables of the environment apply),
// so requests may run on any threads at once.
// The transfer ends as soon as the head of the final response is in; the body is never read.
class CurlHttpSession : public HttpSession {
public:
    // Beyond this many bytes of header lines the answer is refused rather than collected.
    static constexpr std::size_t headerLimit = 64 * 1024;
    // How often a running request asks whether to give up, also while the server is silent.
    static constexpr std::chrono::milliseconds abortCheckInterval{50};

    // shouldAbort, when given, is asked while a request runs; once it answers true the request
    // ends with CURLE_ABORTED_BY_CALLBACK. It runs on the requesting thread.
    explicit CurlHttpSession(std::function<bool()> shouldAbort = {});

    HttpResponse get(const Url& url, std::chrono::milliseconds timeout) override;

private:
    std::function<bool()> m_shouldAbort;
};

} // namespace velquor

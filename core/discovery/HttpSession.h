#pragma once

#include "core/discovery/HttpResponse.h"
#include "core/net/Url.h"

#include <chrono>

namespace velquor {

class HttpSession {
public:
    virtual ~HttpSession() = default;

    // One GET whose whole exchange must end within the timeout. Redirects are answers, not
    // followed. Transport failures throw std::system_error naming the request.
    virtual HttpResponse get(const Url& url, std::chrono::milliseconds timeout) = 0;
};

} // namespace velquor

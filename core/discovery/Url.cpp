#include "core/discovery/Url.h"

#include <curl/curl.h>

#include <charconv>
#include <memory>

namespace velquor {

namespace {

struct UrlHandleDeleter {
    void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using UrlHandle = std::unique_ptr<CURLU, UrlHandleDeleter>;

std::optional<std::string> part(CURLU* handle, CURLUPart which) {
    char* value = nullptr;
    if (curl_url_get(handle, which, &value, 0) != CURLUE_OK || value == nullptr) {
        return std::nullopt;
    }
    std::string result(value);
    curl_free(value);
    return result;
}

} // namespace

std::optional<Url> Url::parse(std::string_view text) {
    UrlHandle handle(curl_url());
    if (!handle) {
        throw std::bad_alloc();
    }
    // curl_url_set needs a terminated string; an embedded NUL would silently cut the URL.
    const std::string owned(text);
    if (owned.find('\0') != std::string::npos ||
        curl_url_set(handle.get(), CURLUPART_URL, owned.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
            CURLUE_OK) {
        return std::nullopt;
    }
    Url url;
    url.scheme = part(handle.get(), CURLUPART_SCHEME).value_or("");
    url.host = part(handle.get(), CURLUPART_HOST);
    if (url.host && url.host->empty()) {
        url.host.reset();
    }
    url.zoneId = part(handle.get(), CURLUPART_ZONEID);
    if (url.zoneId && url.zoneId->empty()) {
        url.zoneId.reset();
    }
    if (const auto port = part(handle.get(), CURLUPART_PORT)) {
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(port->data(), port->data() + port->size(), value);
        if (error != std::errc{} || end != port->data() + port->size()) {
            return std::nullopt;
        }
        url.port = value;
    }
    auto absolute = part(handle.get(), CURLUPART_URL);
    if (!absolute || url.scheme.empty()) {
        return std::nullopt;
    }
    url.text = std::move(*absolute);
    return url;
}

} // namespace velquor

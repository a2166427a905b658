#include "core/net/Url.h"

#include <curl/curl.h>

#include <algorithm>
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

bool isDigits(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::int64_t> decimal(std::string_view digits) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (digits.empty() || !isDigits(digits) || error != std::errc{} ||
        end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<Url::Authority> Url::authorityOf(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    auto rest = text.substr(colon + 1);
    // libcurl takes one to three slashes after the scheme.
    rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
    auto authority = rest.substr(0, rest.find_first_of("/?#"));
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    std::size_t hostEnd = authority.find(':');
    if (authority.starts_with('[')) {
        const auto close = authority.find(']');
        hostEnd = close == std::string_view::npos ? authority.size() : close + 1;
    }
    Authority result{std::string(authority.substr(0, hostEnd)), std::nullopt};
    if (hostEnd < authority.size() && authority[hostEnd] == ':') {
        result.port = decimal(authority.substr(hostEnd + 1));
    }
    return result;
}

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
    const auto libcurlHost = part(handle.get(), CURLUPART_HOST);
    if (auto written = authorityOf(owned);
        libcurlHost && !libcurlHost->empty() && written && !written->host.empty()) {
        url.host = std::move(written->host);
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
    if (url.scheme.empty()) {
        return std::nullopt;
    }
    url.text = owned;
    return url;
}

std::string redactUrlPasswords(std::string_view text) {
    std::string result;
    for (;;) {
        const auto slashes = text.find("://");
        if (slashes == std::string_view::npos) {
            break;
        }
        const auto start = slashes + 3;
        const auto authority =
            text.substr(start, text.find_first_of("/?#\"\'<> \t\r\n", start) - start);
        const auto at = authority.rfind('@');
        const auto colon = authority.substr(0, at == std::string_view::npos ? 0 : at).find(':');
        if (at == std::string_view::npos || colon == std::string_view::npos) {
            result.append(text.substr(0, start));
            text.remove_prefix(start);
            continue;
        }
        result.append(text.substr(0, start + colon + 1));
        result += "***";
        text.remove_prefix(start + at);
    }
    result.append(text);
    return result;
}

} // namespace velquor

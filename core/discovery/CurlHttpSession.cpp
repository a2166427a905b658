#include "core/discovery/CurlHttpSession.h"

#include "core/discovery/CurlErrorCategory.h"

#include <curl/curl.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace velquor {

namespace {

[[noreturn]] void fail(CURLcode code, const std::string& what) {
    throw std::system_error(code, CurlErrorCategory::instance(), what);
}

void initializeCurlOnce() {
    // curl_global_init is not thread-safe itself; a function-local static serialises it.
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (result != CURLE_OK) {
        fail(result, "curl_global_init");
    }
}

struct EasyHandleDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyHandleDeleter>;

struct MultiHandleDeleter {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiHandleDeleter>;

[[noreturn]] void failMulti(CURLMcode code, const std::string& what) {
    throw std::system_error(CURLE_FAILED_INIT, CurlErrorCategory::instance(),
                            what + ": " + curl_multi_strerror(code));
}

// The easy handle belongs to the multi handle only while this lives.
class Attachment {
public:
    Attachment(CURLM* multi, CURL* easy, const std::string& what) : m_multi(multi), m_easy(easy) {
        if (const CURLMcode code = curl_multi_add_handle(multi, easy); code != CURLM_OK) {
            failMulti(code, what);
        }
    }
    ~Attachment() { curl_multi_remove_handle(m_multi, m_easy); }
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

private:
    CURLM* m_multi;
    CURL* m_easy;
};

// What the header callback learns while the transfer runs.
struct Reception {
    std::vector<std::pair<std::string, std::string>> headers;
    std::size_t headerBytes = 0;
    bool interim = false;
    bool headComplete = false;
    bool headTooLarge = false;
};

std::string_view trimFieldBlanks(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// "HTTP/1.1 100 Continue": a 1xx head is followed by another, the one that counts.
bool isInterimStatusLine(std::string_view line) {
    const auto space = line.find(' ');
    return space != std::string_view::npos && line.size() > space + 1 && line[space + 1] == '1';
}

std::size_t onHeaderLine(char* data, std::size_t size, std::size_t count, void* context) {
    auto& reception = *static_cast<Reception*>(context);
    const std::size_t length = size * count;
    reception.headerBytes += length;
    if (reception.headerBytes > CurlHttpSession::headerLimit) {
        reception.headTooLarge = true;
        return 0;
    }
    std::string_view line(data, length);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    if (line.starts_with("HTTP/")) {
        reception.headers.clear();
        reception.interim = isInterimStatusLine(line);
        return length;
    }
    if (line.empty()) {
        if (reception.interim) {
            return length;
        }
        // Everything needed is in: stopping here makes a huge or endless body cost nothing.
        reception.headComplete = true;
        return 0;
    }
    if ((line.front() == ' ' || line.front() == '\t') && !reception.headers.empty()) {
        auto& value = reception.headers.back().second;
        value += ' ';
        value += trimFieldBlanks(line);
        return length;
    }
    if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        reception.headers.emplace_back(std::string(line.substr(0, colon)),
                                       std::string(trimFieldBlanks(line.substr(colon + 1))));
    }
    return length;
}

std::size_t refuseBody(char*, std::size_t, std::size_t, void*) {
    return 0;
}

template <typename Value>
void setOption(CURL* handle, CURLoption option, Value value, const std::string& what) {
    if (const CURLcode code = curl_easy_setopt(handle, option, value); code != CURLE_OK) {
        fail(code, what);
    }
}

// The multi interface rather than curl_easy_perform: the easy loop waits up to a second at a
// time while the server is silent, and a stop must not wait that long.
CURLcode perform(CURL* easy, const std::function<bool()>& shouldAbort, const std::string& what) {
    const MultiHandle multi(curl_multi_init());
    if (!multi) {
        fail(CURLE_FAILED_INIT, what);
    }
    const Attachment attachment(multi.get(), easy, what);
    for (;;) {
        int running = 0;
        if (const CURLMcode code = curl_multi_perform(multi.get(), &running); code != CURLM_OK) {
            failMulti(code, what);
        }
        int queued = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi.get(), &queued)) {
            if (message->msg == CURLMSG_DONE) {
                return message->data.result;
            }
        }
        if (shouldAbort && shouldAbort()) {
            return CURLE_ABORTED_BY_CALLBACK;
        }
        const int waitMs = static_cast<int>(CurlHttpSession::abortCheckInterval.count());
        if (const CURLMcode code = curl_multi_poll(multi.get(), nullptr, 0, waitMs, nullptr);
            code != CURLM_OK) {
            failMulti(code, what);
        }
    }
}

} // namespace

CurlHttpSession::CurlHttpSession(std::function<bool()> shouldAbort)
    : m_shouldAbort(std::move(shouldAbort)) {}

HttpResponse CurlHttpSession::get(const Url& url, std::chrono::milliseconds timeout) {
    const std::string what = "GET " + url.text;
    initializeCurlOnce();
    const EasyHandle handle(curl_easy_init());
    if (!handle) {
        fail(CURLE_FAILED_INIT, what);
    }
    // 0 would mean "no limit" to libcurl.
    const long milliseconds = static_cast<long>(std::clamp<std::chrono::milliseconds::rep>(
        timeout.count(), 1, std::numeric_limits<long>::max()));
    Reception reception;
    CURL* easy = handle.get();
    setOption(easy, CURLOPT_URL, url.text.c_str(), what);
    setOption(easy, CURLOPT_HTTPGET, 1L, what);
    setOption(easy, CURLOPT_PROTOCOLS_STR, "http,https", what);
    setOption(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https", what);
    // The redirect is the answer; following it would contact the target over HTTP.
    setOption(easy, CURLOPT_FOLLOWLOCATION, 0L, what);
    setOption(easy, CURLOPT_TIMEOUT_MS, milliseconds, what);
    setOption(easy, CURLOPT_CONNECTTIMEOUT_MS, milliseconds, what);
    // Timeouts must not rely on SIGALRM in a threaded daemon.
    setOption(easy, CURLOPT_NOSIGNAL, 1L, what);
    setOption(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED), what);
    // Proxies come from http_proxy, https_proxy and no_proxy as libcurl reads them; a proxy's
    // answer to CONNECT must not be taken for the endpoint's head.
    setOption(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L, what);
    setOption(easy, CURLOPT_HEADERFUNCTION, &onHeaderLine, what);
    setOption(easy, CURLOPT_HEADERDATA, &reception, what);
    setOption(easy, CURLOPT_WRITEFUNCTION, &refuseBody, what);

    const CURLcode result = perform(easy, m_shouldAbort, what);
    if (reception.headTooLarge) {
        throw std::system_error(CURLE_WEIRD_SERVER_REPLY, CurlErrorCategory::instance(),
                                what + ": response head exceeds " + std::to_string(headerLimit) +
                                    " bytes");
    }
    // The write error is the one the header callback caused on purpose.
    if (result != CURLE_OK && !(result == CURLE_WRITE_ERROR && reception.headComplete)) {
        fail(result, what);
    }
    HttpResponse response;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &response.status);
    response.headers = std::move(reception.headers);
    return response;
}

} // namespace velquor

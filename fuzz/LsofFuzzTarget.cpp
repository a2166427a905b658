// Every process the parser reports must stand in lsof's listing as it was reported: its command
// name and its PID in the first two columns of a TCP line that names the expected port (and, for
// 127.0.0.1, that address or localhost), listening where a listener was asked for; the listener
// is also among the processes. The parser's line rule is deliberately loose (a substring test);
// whether a reported process may be signalled is decided afterwards from /proc. Input: one byte
// choosing the expected host, two bytes for the expected port, then lsof's output.

#include "core/forwarding/LsofListenerProbe.h"
#include "fuzz/FuzzChecks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

using namespace velquor;

namespace {

constexpr std::array<std::string_view, 6> expectedHosts = {
    "127.0.0.1", "0.0.0.0", "::1", "::", "192.168.1.20", "localhost",
};

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    while ((start = line.find_first_not_of(" \t", start)) != std::string_view::npos) {
        const auto end = std::min(line.find_first_of(" \t", start), line.size());
        fields.push_back(line.substr(start, end - start));
        start = end;
    }
    return fields;
}

// lsof writes a plain decimal; the line rule reads an optional sign too.
bool namesProcess(std::string_view field, std::int32_t pid) {
    if (field.starts_with('+') && !field.substr(1).starts_with('-')) {
        field.remove_prefix(1);
    }
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    return error == std::errc() && end == field.data() + field.size() && value == pid;
}

bool namesPort(std::string_view line, std::string_view host, std::int64_t port) {
    const auto suffix = ":" + std::to_string(port);
    if (line.find(suffix) == std::string_view::npos) {
        return false;
    }
    return host != "127.0.0.1" || line.find("127.0.0.1" + suffix) != std::string_view::npos ||
           line.find("localhost" + suffix) != std::string_view::npos;
}

bool standsInListing(const ListenerProcess& process, std::string_view output, std::string_view host,
                     std::int64_t port, bool listening) {
    std::size_t start = 0;
    while (start <= output.size()) {
        const auto end = std::min(output.find('\n', start), output.size());
        const auto line = output.substr(start, end - start);
        const auto fields = fieldsOf(line);
        if (fields.size() >= 2 && fields[0] == process.commandName &&
            namesProcess(fields[1], process.processIdentifier) &&
            line.find("TCP") != std::string_view::npos &&
            (!listening || line.find("(LISTEN)") != std::string_view::npos) &&
            namesPort(line, host, port)) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

void check(const ListenerProcess& process, const std::string& output, std::string_view host,
           std::int64_t port, bool listening) {
    const auto what = process.commandName + " " + std::to_string(process.processIdentifier) +
                      " for " + std::string(host) + " port " + std::to_string(port);
    fuzz::require(standsInListing(process, output, host, port, listening),
                  listening ? "listener not in the listing as reported"
                            : "process not in the listing as reported",
                  what);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const std::string host(expectedHosts[data[0] % expectedHosts.size()]);
    const std::int64_t port = data[1] << 8 | data[2];
    const std::string output(reinterpret_cast<const char*>(data) + 3, size - 3);
    const auto processes = LsofListenerProbe::parseProcesses(output, host, port);
    for (const auto& process : processes) {
        check(process, output, host, port, false);
    }
    if (const auto listener = LsofListenerProbe::parse(output, host, port)) {
        check(*listener, output, host, port, true);
        fuzz::require(std::ranges::find(processes, *listener) != processes.end(),
                      "listener missing from the processes", listener->commandName);
    }
    return 0;
}

// lsof's listing decides which process gets signalled, so every process the parser reports must
// stand in the listing as it was reported: its command name and its PID in the first two
// columns of a TCP line whose local address is the expected host (or the wildcard) and exactly
// the expected port, listening where a listener was asked for. A PID of 0 or below would
// signal a process group or every process. Input: one byte choosing the expected host, two
// bytes for the expected port, then lsof's output.

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

// How lsof -nP writes a local address that the expected host's listener may hold.
std::vector<std::string> localAddresses(std::string_view host, std::int64_t port) {
    const auto suffix = ":" + std::to_string(port);
    std::vector<std::string> addresses{"*" + suffix, std::string(host) + suffix,
                                       "[" + std::string(host) + "]" + suffix};
    if (host == "localhost") {
        addresses.push_back("127.0.0.1" + suffix);
        addresses.push_back("[::1]" + suffix);
    }
    if (host == "127.0.0.1") {
        addresses.push_back("localhost" + suffix);
    }
    return addresses;
}

// lsof writes a plain decimal; the product may also read "+12" or "012", which name the same PID.
bool namesProcess(std::string_view field, std::int32_t pid) {
    if (field.starts_with('+')) {
        field.remove_prefix(1);
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    return error == std::errc() && end == field.data() + field.size() && value == pid;
}

bool holdsPort(const std::vector<std::string_view>& fields, std::string_view host,
               std::int64_t port) {
    const auto addresses = localAddresses(host, port);
    return std::ranges::any_of(fields, [&](std::string_view field) {
        const auto local = field.substr(0, field.find("->"));
        return std::ranges::find(addresses, local) != addresses.end();
    });
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
            holdsPort(fields, host, port)) {
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
    fuzz::require(process.processIdentifier > 0, "PID of 0 or below", what);
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
    if (const auto listener = LsofListenerProbe::parse(output, host, port)) {
        check(*listener, output, host, port, true);
    }
    for (const auto& process : LsofListenerProbe::parseProcesses(output, host, port)) {
        check(process, output, host, port, false);
    }
    return 0;
}

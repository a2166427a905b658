#include "core/forwarding/LsofListenerProbe.h"

#include "core/process/ProcessRunner.h"
#include "core/text/Utf8.h"

#include <charconv>
#include <string_view>
#include <unistd.h>

namespace velquor {

namespace {

std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= text.size()) {
        const auto end = std::min(text.find_first_of(separators, start), text.size());
        if (end > start) {
            parts.push_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return parts;
}

// A whole field of decimal digits with an optional sign, within 32 bits.
std::optional<std::int32_t> processIdentifier(std::string_view field) {
    if (field.starts_with('+')) {
        field.remove_prefix(1);
        if (field.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (error != std::errc() || end != field.data() + field.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<ListenerProcess> parseLine(std::string_view line, const std::string& expectedHost,
                                         std::int64_t expectedPort, bool requireListening) {
    const auto fields = split(line, " \t");
    if (fields.size() < 2) {
        return std::nullopt;
    }
    const auto pid = processIdentifier(fields[1]);
    if (!pid || line.find("TCP") == std::string_view::npos) {
        return std::nullopt;
    }
    if (requireListening && line.find("(LISTEN)") == std::string_view::npos) {
        return std::nullopt;
    }
    const auto port = std::to_string(expectedPort);
    if (line.find(":" + port) == std::string_view::npos) {
        return std::nullopt;
    }
    if (expectedHost == "127.0.0.1" && line.find("127.0.0.1:" + port) == std::string_view::npos &&
        line.find("localhost:" + port) == std::string_view::npos) {
        return std::nullopt;
    }
    return ListenerProcess{std::string(fields[0]), *pid};
}

std::vector<ListenerProcess> parseAll(const std::string& output, const std::string& expectedHost,
                                      std::int64_t expectedPort, bool requireListening,
                                      bool firstOnly) {
    std::vector<ListenerProcess> found;
    for (const auto line : split(output, "\n")) {
        if (auto process = parseLine(line, expectedHost, expectedPort, requireListening)) {
            found.push_back(std::move(*process));
            if (firstOnly) {
                break;
            }
        }
    }
    return found;
}

} // namespace

LsofListenerProbe::LsofListenerProbe(std::filesystem::path lsofURL,
                                     std::chrono::milliseconds timeout)
    : m_lsofURL(std::move(lsofURL)), m_timeout(timeout) {}

std::filesystem::path LsofListenerProbe::defaultLsofPath() {
    if (::access("/usr/sbin/lsof", X_OK) == 0) {
        return "/usr/sbin/lsof";
    }
    return "/usr/bin/lsof";
}

std::optional<ListenerProcess> LsofListenerProbe::listener(const std::string& host,
                                                           std::int64_t port) {
    const auto output = run({"-nP", "-iTCP:" + std::to_string(port), "-sTCP:LISTEN"}, port);
    if (!output) {
        return std::nullopt;
    }
    return parse(*output, host, port);
}

std::vector<ListenerProcess> LsofListenerProbe::processes(const std::string& host,
                                                          std::int64_t port) {
    const auto output = run({"-nP", "-iTCP:" + std::to_string(port)}, port);
    if (!output) {
        return {};
    }
    return parseProcesses(*output, host, port);
}

std::optional<ListenerProcess> LsofListenerProbe::parse(const std::string& output,
                                                        const std::string& expectedHost,
                                                        std::int64_t expectedPort) {
    auto found = parseAll(output, expectedHost, expectedPort, true, true);
    if (found.empty()) {
        return std::nullopt;
    }
    return std::move(found.front());
}

std::vector<ListenerProcess> LsofListenerProbe::parseProcesses(const std::string& output,
                                                               const std::string& expectedHost,
                                                               std::int64_t expectedPort) {
    return parseAll(output, expectedHost, expectedPort, false, false);
}

std::optional<std::string> LsofListenerProbe::run(std::vector<std::string> arguments,
                                                  std::int64_t port) const {
    // lsof reads such a port as a service name and fails; no process can hold it anyway.
    if (port < 0 || port > 65535) {
        return std::nullopt;
    }
    auto result = ProcessRunner(m_lsofURL, std::move(arguments), m_timeout).run();
    // lsof exits 1 when nothing matches, and for real errors too; both mean none found.
    if (result.exitCode != 0) {
        return std::nullopt;
    }
    auto& output = result.standardOutput;
    if (result.outputTruncated) {
        // A cut line, or a cut character, would read as something it is not.
        const auto lastLineEnd = output.rfind('\n');
        output.resize(lastLineEnd == std::string::npos ? 0 : lastLineEnd + 1);
    }
    if (!isValidUtf8(output)) {
        return std::nullopt;
    }
    return std::move(output);
}

} // namespace velquor

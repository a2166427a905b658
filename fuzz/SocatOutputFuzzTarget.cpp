// socat's standard error reaches Qarvex as any bytes its children write: cut anywhere, without
// line ends, with control characters and broken UTF-8. Every byte read must come out in a
// bounded line, and what a failed connection puts into our log must be one short line of
// valid text. Input: what socat wrote.

#include "core/files/BoundedLineReader.h"
#include "core/files/FileDescriptor.h"
#include "core/forwarding/SocatMessage.h"
#include "core/text/Utf8.h"
#include "fuzz/FuzzChecks.h"

#include <algorithm>
#include <fcntl.h>
#include <string>
#include <unistd.h>

using namespace velquor;

namespace {

void checkLogText(const std::string& text, std::size_t limit, std::string_view line) {
    fuzz::require(text.size() <= limit && isValidUtf8(text), "log text too long or not UTF-8",
                  fuzz::escaped(line));
    fuzz::require(
        std::ranges::none_of(
            text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }),
        "control character in log text", fuzz::escaped(line));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string written(reinterpret_cast<const char*>(data),
                              std::min<std::size_t>(size, 60000));
    int ends[2];
    fuzz::require(::pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0, "no pipe");
    FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    fuzz::require(::write(writeEnd.get(), written.data(), written.size()) ==
                      static_cast<ssize_t>(written.size()),
                  "short write");
    writeEnd.close();

    BoundedLineReader reader(readEnd.get());
    std::size_t bytes = 0;
    while (!reader.ended()) {
        for (const auto& line : reader.read()) {
            fuzz::require(line.size() <= BoundedLineReader::maxLineLength &&
                              line.find('\n') == std::string::npos,
                          "line too long or not split", fuzz::escaped(line));
            bytes += line.size();
            if (const auto failure = SocatMessage::connectFailure(line)) {
                checkLogText(failure->address, 64, line);
                checkLogText(failure->reason, 120 + std::string_view("…").size(), line);
            }
        }
    }
    fuzz::require(bytes + static_cast<std::size_t>(std::ranges::count(written, '\n')) ==
                      written.size(),
                  "bytes lost or made up", fuzz::escaped(written));
    return 0;
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// What every fuzz target shares: the libFuzzer entry point, and checks that end the run with a
// message, so that a broken promise counts as a crash the fuzzer keeps an input for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace velquor::fuzz {

[[noreturn]] void fail(std::string_view broken, std::string_view detail);

inline void require(bool holds, std::string_view broken, std::string_view detail = {}) {
    if (!holds) {
        fail(broken, detail);
    }
}

// Written apart from the product's own rule on purpose: a host that reaches socat's
// "TCP:<host>:<port>" must hold nothing socat reads as syntax (',' '!' quotes, escapes,
// braces, blanks, control characters, ':' outside the brackets of an IPv6 literal).
bool isSocatSafeHost(std::string_view host);

// Bytes for a message: printable ASCII as is, everything else as \xNN.
std::string escaped(std::string_view bytes);

} // namespace velquor::fuzz

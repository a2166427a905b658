#pragma once

#include "support/harness/Loopback.h"

#include <cstdint>

namespace velquor::test {

// A TCP port on 127.0.0.1 that nothing listens on right now, chosen by the kernel.
inline std::int64_t freeTcpPort() {
    return harness::Loopback::freePort();
}

} // namespace velquor::test

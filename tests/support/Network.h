#pragma once

#include <cstdint>

namespace velquor::test {

// A TCP port on 127.0.0.1 that nothing listens on right now, chosen by the kernel.
std::int64_t freeTcpPort();

} // namespace velquor::test

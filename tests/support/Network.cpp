#include "tests/support/Network.h"

#include "support/harness/SystemTool.h"

namespace velquor::test {

std::int64_t freeTcpPort() {
    return harness::freeLoopbackPort();
}

} // namespace velquor::test

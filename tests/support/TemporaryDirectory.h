#pragma once

#include "support/harness/TemporaryDirectory.h"

namespace velquor::test {

using harness::TemporaryDirectory;

} // namespace velquor::test

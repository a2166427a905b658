#pragma once

#include "core/forwarding/SocatCommand.h"
#include "core/forwarding/SocatProcess.h"

#include <memory>

namespace velquor {

class SocatProcessLaunching {
public:
    virtual ~SocatProcessLaunching() = default;

    // Throws when the program cannot be started.
    virtual std::unique_ptr<SocatProcess> launch(const SocatCommand& command) = 0;
};

} // namespace velquor

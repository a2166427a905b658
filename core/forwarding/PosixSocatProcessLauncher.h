#pragma once

#include "core/forwarding/SocatProcessLaunching.h"

namespace velquor {

// Starts socat as a direct child with our environment, working directory and standard streams,
// but none of our other descriptors and a clean signal state.
class PosixSocatProcessLauncher : public SocatProcessLaunching {
public:
    // Returns a PosixSocatProcess. Throws std::system_error "launching <path>".
    std::unique_ptr<SocatProcess> launch(const SocatCommand& command) override;
};

} // namespace velquor

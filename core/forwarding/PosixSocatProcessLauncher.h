#pragma once

#include "core/forwarding/ForwarderErrorPipe.h"
#include "core/forwarding/SocatProcessLaunching.h"

#include <memory>

namespace velquor {

// Starts socat as a direct child with our environment, working directory, standard input and
// output, but none of our other descriptors and a clean signal state. Its standard error is
// the given pipe, or ours without one.
class PosixSocatProcessLauncher : public SocatProcessLaunching {
public:
    explicit PosixSocatProcessLauncher(std::shared_ptr<const ForwarderErrorPipe> errors = nullptr)
        : m_errors(std::move(errors)) {}

    // Returns a PosixSocatProcess. Throws std::system_error "launching <path>".
    std::unique_ptr<SocatProcess> launch(const SocatCommand& command) override;

private:
    std::shared_ptr<const ForwarderErrorPipe> m_errors;
};

} // namespace velquor

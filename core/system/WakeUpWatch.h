#pragma once

#include "core/files/FileDescriptor.h"

namespace velquor {

// A descriptor that becomes readable when the machine resumes from suspend (or the wall clock
// is set): a wait on CLOCK_MONOTONIC, as ppoll's and QTimer's are, does not count the sleep, so
// without it a resumed service would only look again when its interval ran out. Tell a resume
// from a clock change with ResumeDetector.
class WakeUpWatch {
public:
    // Throws std::system_error.
    WakeUpWatch();

    int descriptor() const noexcept { return m_timer.get(); }

    // Without blocking: true when a resume or clock change happened since the last call; the
    // watch is armed again either way. Throws std::system_error.
    bool drain();

private:
    void arm();

    FileDescriptor m_timer;
};

} // namespace velquor

#pragma once

#include "core/service/ServiceController.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace velquor::bench {

// The real controller as DefaultController assembles it (socat, lsof, libcurl, the
// configuration file and the log), with its files in a folder of the bench's. Its forwarder is
// stopped when the wrapper goes, and killed if it stays.
class BenchController {
public:
    BenchController(const std::filesystem::path& folder, std::int64_t listenPort,
                    const std::string& discoveryUrl);
    ~BenchController();
    BenchController(const BenchController&) = delete;
    BenchController& operator=(const BenchController&) = delete;

    ServiceController& controller() noexcept { return *m_controller; }
    std::int64_t listenPort() const noexcept { return m_listenPort; }

    // Throws std::runtime_error with the controller's error unless forwarding runs afterwards.
    void start();
    // Stops forwarding and waits until the port is free and the forwarder gone, so that the next
    // start begins from nothing. Throws std::runtime_error when that does not happen in time.
    void stopAndSettle();
    // Throws std::runtime_error when the port does not accept connections in time.
    void waitUntilAccepting(std::chrono::milliseconds deadline) const;

private:
    std::int64_t m_listenPort;
    std::unique_ptr<ServiceController> m_controller;
};

} // namespace velquor::bench

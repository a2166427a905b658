#pragma once

#include "core/config/ConfigStore.h"
#include "core/discovery/DynamicTargetResolving.h"
#include "core/forwarding/PortChecking.h"
#include "core/forwarding/SocatManager.h"
#include "core/logging/LogManager.h"
#include "core/service/ServiceSnapshot.h"

#include <memory>
#include <optional>
#include <string>

namespace velquor {

// The centre of the service: owns the live configuration, the status and the last error, and
// is the only writer of the configuration file, the log and the forwarder. Operations are
// blocking, never throw, and must be called one at a time (callers serialise them); every
// failure ends in the returned snapshot and a log line.
class ServiceController {
public:
    ServiceController(ConfigStore configStore, LogManager logManager,
                      std::unique_ptr<DynamicTargetResolving> targetResolver,
                      std::unique_ptr<SocatManager> socatManager,
                      // Connects to the target at each health check while forwarding; without
                      // it the target itself is never probed.
                      std::unique_ptr<PortChecking> targetChecker = nullptr);
    virtual ~ServiceController() = default;
    ServiceController(const ServiceController&) = delete;
    ServiceController& operator=(const ServiceController&) = delete;

    virtual ServiceSnapshot load(bool startIfConfigured = false);
    virtual ServiceSnapshot saveConfig(const ForwarderConfig& config);
    virtual ServiceSnapshot checkNow();
    virtual ServiceSnapshot refreshRuntimeStatus();
    virtual ServiceSnapshot healthCheck();
    virtual ServiceSnapshot start();
    virtual ServiceSnapshot stop();
    virtual ServiceSnapshot restart();
    virtual std::string readLogs();
    virtual ServiceSnapshot clearLogs();
    // A line from the application about itself, for the user who reads the log.
    virtual void note(const std::string& message);

    // Rereads the configuration file as a check does when the file changed on disk (see
    // takeConfigFromDisk).
    virtual ServiceSnapshot reloadConfig();
    // Drops log lines older than the configured logRetentionDays; a failure is ignored.
    virtual void pruneLogs();
    // Why the last log line could not be written; nothing while lines are written. The log's
    // failures never change the service, but a program may want to tell its user.
    const std::optional<std::string>& logWriteError() const noexcept { return m_logWriteError; }
    // What the latest health check found; an early check asks whether discovery answered.
    const HealthFindings& lastHealthFindings() const noexcept { return m_lastHealthFindings; }

    // Only a change of where we listen or where the target comes from needs a new forwarder.
    static bool requiresSocatRestart(const ForwarderConfig& oldConfig,
                                     const ForwarderConfig& newConfig);

    static constexpr std::int64_t logReadLimit = 512 * 1024;

protected:
    virtual ServiceSnapshot restartAfterConfigChange(const ForwarderConfig& oldConfig);

private:
    using Clock = std::chrono::system_clock;

    ServiceSnapshot snapshot();
    void updateRuntimeStatus(const SocatRuntimeStatus& runtimeStatus);
    SocatRuntimeStatus probe(const std::string& host, std::int64_t port);
    SocatRuntimeStatus probe();
    // Passwords in URLs are shown as "***".
    void log(const std::string& message);
    // saveConfig's steps; without save, for a record just read from the file, nothing is written.
    ServiceSnapshot applyConfig(const ForwarderConfig& config, bool save);
    // The one way the file is taken from disk once loaded, asked for or found changed: a valid
    // file is applied as a save would be (a new forwarder only when the listen address,
    // discovery URL or target changed); otherwise the settings in use stay, with one warning,
    // and are written back in place of a missing or damaged file (set aside first); an
    // unreadable one is left as it is.
    void takeConfigFromDisk();
    // A hand edit of the file since our last look wins over our copy, as it would at the next
    // start; it runs before an operation, which then goes through all its own steps.
    void reloadIfChangedOnDisk();
    // The cached target, unless it is one socat could not use; such a target stays in the file
    // as written.
    std::optional<TargetEndpoint> usableCachedTarget() const;
    void fail(const std::string& errorText, const std::string& logPrefix);
    TargetEndpoint resolveTargetWithFallbackLog(const std::string& context);
    // Caches the target and persists it when the record is valid; a failed write is ignored.
    void adoptTarget(const TargetEndpoint& target);
    // Looks the target up and caches it, or marks the service failed and logs why.
    std::optional<TargetEndpoint> refreshTarget(const std::string& context,
                                                const std::string& failurePrefix);
    static bool hasMoved(const std::optional<TargetEndpoint>& oldTarget,
                         const TargetEndpoint& newTarget);
    ServiceSnapshot followMovedTarget(const TargetEndpoint& oldTarget,
                                      const TargetEndpoint& newTarget);
    void logTargetChange(const std::optional<TargetEndpoint>& oldTarget,
                         const TargetEndpoint& newTarget);
    std::string checkResultLogLine();
    // The user's start and stop begin a new run of health checks; the health check's own
    // restart of a missing listener or a moved target continues the run it belongs to.
    ServiceSnapshot startForwarding();
    ServiceSnapshot stopForwarding();
    ServiceSnapshot runHealthCheck();
    HealthFindings healthFindings(const ServiceSnapshot& checked);

    ConfigStore m_configStore;
    LogManager m_logManager;
    std::unique_ptr<DynamicTargetResolving> m_targetResolver;
    std::unique_ptr<SocatManager> m_socatManager;
    std::unique_ptr<PortChecking> m_targetChecker;

    ForwarderConfig m_config = ForwarderConfig::defaults();
    ServiceStatus m_status = ServiceStatus::stopped;
    std::optional<TargetEndpoint> m_currentTarget;
    std::optional<Clock::time_point> m_lastCheckAt;
    std::optional<std::string> m_lastError;
    bool m_isStartInProgress = false;
    std::optional<std::string> m_logWriteError;
    HealthTrend m_trend{ForwarderConfig::defaults().failureThreshold};
    // Set when a lookup fell back to the cached target, for the health check that asked.
    std::optional<TargetEndpoint> m_cachedTargetUsed;
    HealthFindings m_lastHealthFindings;
};

} // namespace velquor

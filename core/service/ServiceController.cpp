#include "core/service/ServiceController.h"

#include "core/net/Url.h"

#include <utility>

namespace velquor {

namespace {

std::string joinIdentifiers(const std::vector<std::int32_t>& ids) {
    std::string text;
    for (const auto id : ids) {
        if (!text.empty()) {
            text += ',';
        }
        text += std::to_string(id);
    }
    return text;
}

bool isNoTrackedProcess(const SocatManagerError& error) {
    return error.kind() == SocatManagerError::Kind::noTrackedProcess;
}

} // namespace

ServiceController::ServiceController(ConfigStore configStore, LogManager logManager,
                                     std::unique_ptr<DynamicTargetResolving> targetResolver,
                                     std::unique_ptr<SocatManager> socatManager,
                                     std::unique_ptr<PortChecking> targetChecker)
    : m_configStore(std::move(configStore)), m_logManager(std::move(logManager)),
      m_targetResolver(std::move(targetResolver)), m_socatManager(std::move(socatManager)),
      m_targetChecker(std::move(targetChecker)) {}

// --- snapshots and the status rule ---

ServiceSnapshot ServiceController::snapshot() {
    // Every operation ends here, so a child of ours that could not be signalled is reported
    // once, whichever operation let it go.
    if (const auto failure = m_socatManager->takeTerminationFailure()) {
        log("ERROR: Failed to terminate socat: " + *failure);
    }
    const auto runtimeStatus = probe();
    return {m_status,      m_config,          m_currentTarget,
            m_lastCheckAt, m_lastError,       runtimeStatus.processIdentifier(),
            runtimeStatus, m_trend.warning(), std::nullopt};
}

void ServiceController::updateRuntimeStatus(const SocatRuntimeStatus& runtimeStatus) {
    switch (runtimeStatus.kind) {
    case SocatRuntimeStatus::Kind::trackedSocat:
    case SocatRuntimeStatus::Kind::externalSocat:
        m_status = ServiceStatus::running;
        break;
    case SocatRuntimeStatus::Kind::occupiedByUnknownProcess:
        m_status = ServiceStatus::failed;
        m_lastError = "本地端口被 " + runtimeStatus.name +
                      " 占用 [PID=" + std::to_string(runtimeStatus.pid) + "]";
        break;
    case SocatRuntimeStatus::Kind::notListening:
        if (m_status == ServiceStatus::running) {
            m_status = ServiceStatus::stopped;
        }
        break;
    }
}

SocatRuntimeStatus ServiceController::probe(const std::string& host, std::int64_t port) {
    try {
        return m_socatManager->runtimeStatus(host, port);
    } catch (const std::exception&) {
        return SocatRuntimeStatus::notListening();
    }
}

SocatRuntimeStatus ServiceController::probe() {
    return probe(m_config.listenHost, m_config.listenPort);
}

void ServiceController::log(const std::string& message) {
    try {
        m_logManager.append(redactUrlPasswords(message), Clock::now());
        m_logWriteError.reset();
    } catch (const std::exception& error) {
        // A log that cannot be written must never stop the service.
        m_logWriteError = error.what();
    }
}

void ServiceController::fail(const std::string& errorText, const std::string& logPrefix) {
    m_status = ServiceStatus::failed;
    m_lastError = errorText;
    log(logPrefix + errorText);
}

// --- lifecycle ---

ServiceSnapshot ServiceController::load(bool startIfConfigured) {
    std::optional<ConfigStore::Loaded> loaded;
    try {
        loaded = m_configStore.loadReporting();
    } catch (const std::exception& error) {
        m_lastError = error.what();
        log(std::string("ERROR: Failed to load configuration: ") + error.what());
        return snapshot();
    }
    if (const auto& aside = loaded->setAside) {
        log("WARNING: Damaged configuration file set aside as " + aside->path.string() + " (" +
            aside->reason + "); using the defaults");
    }
    m_config = std::move(loaded->config);
    m_config.recordListenPorts({m_config.listenPort}); // the store only returns valid ports
    m_trend.setThreshold(m_config.failureThreshold);
    m_currentTarget = usableCachedTarget();
    m_lastError.reset();
    log("Configuration loaded");
    updateRuntimeStatus(probe());
    if (startIfConfigured && m_config.autoStart && !probe().isRunning()) {
        log("Auto start enabled: starting forwarding service");
        return startForwarding();
    }
    return snapshot();
}

void ServiceController::reloadIfChangedOnDisk() {
    if (m_configStore.changedOnDisk()) {
        takeConfigFromDisk();
    }
}

void ServiceController::takeConfigFromDisk() {
    using Kind = ConfigStore::Reread::Kind;
    const auto file = m_configStore.configURL().string();
    ConfigStore::Reread reread;
    try {
        reread = m_configStore.reread();
    } catch (const std::exception& error) {
        m_lastError = error.what();
        log(std::string("ERROR: Failed to reload configuration: ") + error.what());
        return;
    }
    if (reread.kind == Kind::valid) {
        log("Configuration reloaded from " + file);
        applyConfig(*reread.config, false);
        return;
    }
    std::string why = " (" + (reread.kind == Kind::missing ? "missing" : reread.reason) + ")";
    if (reread.setAside) {
        why = " (set aside as " + reread.setAside->string() + ": " + reread.reason + ")";
    }
    // What cannot be read may still be the user's: only a file that is gone is replaced.
    if (reread.kind != Kind::unreadable) {
        try {
            m_configStore.saveInternal(m_config);
        } catch (const std::exception& error) {
            why += std::string("; writing them back failed: ") + error.what();
        }
    }
    log("WARNING: Configuration file " + file +
        " could not be used on reload; keeping the settings in use" + why);
}

ServiceSnapshot ServiceController::saveConfig(const ForwarderConfig& config) {
    // A draft is made from the settings in use. One made before a hand edit that was not taken
    // yet would undo it: the edit is taken first, and the draft's own changes go over it.
    const ForwarderConfig basis = m_config;
    reloadIfChangedOnDisk();
    return applyConfig(config.rebased(basis, m_config), true);
}

ServiceSnapshot ServiceController::applyConfig(const ForwarderConfig& config, bool save) {
    const ForwarderConfig oldConfig = m_config;
    const bool wasRunning = probe(oldConfig.listenHost, oldConfig.listenPort).isRunning();
    ForwarderConfig updated = config;
    try {
        auto history = oldConfig.recentListenPorts;
        history.push_back(oldConfig.listenPort);
        history.push_back(updated.listenPort);
        updated.recordListenPorts(history);
        updated = updated.validated();
        if (save) {
            m_configStore.saveInternal(updated);
            log("Configuration saved");
        }
    } catch (const std::exception& error) {
        m_lastError = error.what();
        log(std::string("ERROR: Failed to save configuration: ") + error.what());
        return snapshot();
    }
    m_config = updated;
    m_trend.setThreshold(m_config.failureThreshold);
    m_currentTarget = usableCachedTarget();
    m_lastError.reset();
    if (wasRunning && requiresSocatRestart(oldConfig, m_config)) {
        log("Configuration changed while running: restarting socat");
        return restartAfterConfigChange(oldConfig);
    }
    return snapshot();
}

bool ServiceController::requiresSocatRestart(const ForwarderConfig& oldConfig,
                                             const ForwarderConfig& newConfig) {
    return oldConfig.listenHost != newConfig.listenHost ||
           oldConfig.listenPort != newConfig.listenPort ||
           oldConfig.discoveryURL != newConfig.discoveryURL || oldConfig.target != newConfig.target;
}

ServiceSnapshot ServiceController::restartAfterConfigChange(const ForwarderConfig& oldConfig) {
    m_status = ServiceStatus::stopping;
    try {
        const auto ids = m_socatManager->stopProcesses(oldConfig.listenHost, oldConfig.listenPort);
        log("socat stopped for configuration change [PID=" + joinIdentifiers(ids) + "]");
    } catch (const SocatManagerError& error) {
        if (!isNoTrackedProcess(error)) {
            fail(error.what(), "ERROR: Failed to stop old socat during configuration change: ");
            return snapshot();
        }
        log("socat already stopped for configuration change");
    } catch (const std::exception& error) {
        fail(error.what(), "ERROR: Failed to stop old socat during configuration change: ");
        return snapshot();
    }
    return startForwarding();
}

ServiceSnapshot ServiceController::start() {
    reloadIfChangedOnDisk();
    m_trend.reset();
    return startForwarding();
}

ServiceSnapshot ServiceController::startForwarding() {
    if (m_isStartInProgress || probe().kind == SocatRuntimeStatus::Kind::trackedSocat) {
        m_status = ServiceStatus::running;
        m_lastError.reset();
        log("Start skipped: socat already running");
        return snapshot();
    }
    m_isStartInProgress = true;
    m_status = ServiceStatus::starting;
    try {
        const auto target = resolveTargetWithFallbackLog("Start");
        adoptTarget(target);
        const auto pid = m_socatManager->start(m_config, target);
        m_status = ServiceStatus::running;
        m_lastError.reset();
        log("socat started [PID=" + std::to_string(pid) + "]: " + m_config.listenHost + ":" +
            std::to_string(m_config.listenPort) + " -> " + target.text());
    } catch (const SocatManagerError& error) {
        if (error.kind() == SocatManagerError::Kind::processAlreadyRunning) {
            m_status = ServiceStatus::running;
            m_lastError.reset();
            log("Start skipped: socat already running");
        } else {
            fail(error.what(), "ERROR: Failed to start service: ");
        }
    } catch (const std::exception& error) {
        fail(error.what(), "ERROR: Failed to start service: ");
    }
    auto result = snapshot();
    m_isStartInProgress = false;
    return result;
}

ServiceSnapshot ServiceController::stop() {
    m_trend.reset();
    return stopForwarding();
}

ServiceSnapshot ServiceController::stopForwarding() {
    m_status = ServiceStatus::stopping;
    try {
        const auto ids = m_socatManager->stopProcesses(m_config.listenHost, m_config.listenPort);
        m_status = ServiceStatus::stopped;
        m_lastError.reset();
        log("socat stopped [PID=" + joinIdentifiers(ids) + "]");
    } catch (const SocatManagerError& error) {
        if (isNoTrackedProcess(error)) {
            m_status = ServiceStatus::stopped;
            m_lastError.reset();
            log("socat already stopped");
        } else {
            fail(error.what(), "ERROR: Failed to stop service: ");
        }
    } catch (const std::exception& error) {
        fail(error.what(), "ERROR: Failed to stop service: ");
    }
    return snapshot();
}

ServiceSnapshot ServiceController::restart() {
    reloadIfChangedOnDisk();
    m_trend.reset();
    stopForwarding();
    return startForwarding();
}

ServiceSnapshot ServiceController::refreshRuntimeStatus() {
    updateRuntimeStatus(probe());
    return snapshot();
}

std::string ServiceController::readLogs() {
    try {
        return m_logManager.readRecent(logReadLimit);
    } catch (const std::exception&) {
        return "";
    }
}

ServiceSnapshot ServiceController::clearLogs() {
    try {
        m_logManager.clear();
        m_lastError.reset();
    } catch (const std::exception& error) {
        m_lastError = error.what();
    }
    return snapshot();
}

void ServiceController::note(const std::string& message) {
    log(message);
}

ServiceSnapshot ServiceController::reloadConfig() {
    takeConfigFromDisk();
    return snapshot();
}

void ServiceController::pruneLogs() {
    try {
        m_logManager.prune(m_config.logRetentionDays, Clock::now());
    } catch (const std::exception&) {
        // Like a line that cannot be written: the log never stops the service.
    }
}

// --- checks ---

TargetEndpoint ServiceController::resolveTargetWithFallbackLog(const std::string& context) {
    try {
        return m_targetResolver->resolve(m_config.discoveryURL);
    } catch (const std::exception& error) {
        const auto cached = usableCachedTarget();
        if (!cached) {
            throw;
        }
        log("WARNING: " + context + " dynamic target lookup failed from " +
            m_config.discoveryURL.text + ": " + error.what() + "; using cached target " +
            cached->text());
        m_cachedTargetUsed = cached;
        return *cached;
    }
}

std::optional<TargetEndpoint> ServiceController::usableCachedTarget() const {
    try {
        return m_config.target ? std::optional(m_config.target->validated()) : std::nullopt;
    } catch (const TargetEndpoint::ValidationError&) {
        return std::nullopt; // kept in the file as written, never forwarded to
    }
}

void ServiceController::adoptTarget(const TargetEndpoint& target) {
    m_currentTarget = target;
    m_config.target = target;
    m_config.recordListenPorts({m_config.listenPort});
    if (m_configStore.changedOnDisk()) {
        return; // edited by hand and not loadable: left as the user made it
    }
    try {
        m_configStore.saveInternal(m_config.validated());
    } catch (const std::exception&) {
        // The in-memory record keeps the target; the next successful write stores it.
    }
}

void ServiceController::logTargetChange(const std::optional<TargetEndpoint>& oldTarget,
                                        const TargetEndpoint& newTarget) {
    if (oldTarget) {
        log("Target changed: " + oldTarget->text() + " -> " + newTarget.text() +
            "; restarting forwarding service");
    }
}

std::string ServiceController::checkResultLogLine() {
    const auto runtimeStatus = probe();
    const auto pid = runtimeStatus.processIdentifier();
    return "Check result: status=" + std::string(serviceStatusName(m_status)) +
           ", listener=" + m_config.listenHost + ":" + std::to_string(m_config.listenPort) +
           ", socat=" + runtimeStatus.logText() + ", pid=" + (pid ? std::to_string(*pid) : "none");
}

std::optional<TargetEndpoint> ServiceController::refreshTarget(const std::string& context,
                                                               const std::string& failurePrefix) {
    try {
        const auto target = resolveTargetWithFallbackLog(context);
        adoptTarget(target);
        m_lastError.reset();
        return target;
    } catch (const std::exception& error) {
        fail(error.what(), failurePrefix);
        return std::nullopt;
    }
}

bool ServiceController::hasMoved(const std::optional<TargetEndpoint>& oldTarget,
                                 const TargetEndpoint& newTarget) {
    return oldTarget && *oldTarget != newTarget;
}

ServiceSnapshot ServiceController::followMovedTarget(const TargetEndpoint& oldTarget,
                                                     const TargetEndpoint& newTarget) {
    logTargetChange(oldTarget, newTarget);
    stopForwarding();
    return startForwarding();
}

ServiceSnapshot ServiceController::healthCheck() {
    // A reload's own restart has its own lines; the check still runs all its steps after it.
    reloadIfChangedOnDisk();
    m_cachedTargetUsed.reset();
    auto checked = runHealthCheck();
    m_lastHealthFindings = healthFindings(checked);
    checked.healthChange = m_trend.record(m_lastHealthFindings, Clock::now());
    if (checked.healthChange) {
        log(checked.healthChange->logLine);
    }
    checked.healthWarning = m_trend.warning();
    return checked;
}

HealthFindings ServiceController::healthFindings(const ServiceSnapshot& checked) {
    HealthFindings findings;
    findings.cachedTargetUsed = m_cachedTargetUsed;
    const auto& target = checked.currentTarget;
    if (m_targetChecker && target && checked.socatRuntimeStatus.isRunning() &&
        !m_targetChecker->isListening(target->host(), target->port())) {
        findings.targetRefusing = target;
    }
    if (checked.status == ServiceStatus::failed) {
        findings.failedWith = checked.lastError.value_or("");
    }
    return findings;
}

ServiceSnapshot ServiceController::runHealthCheck() {
    m_lastCheckAt = Clock::now();
    const auto runtimeStatus = probe();
    updateRuntimeStatus(runtimeStatus);
    const auto oldTarget = usableCachedTarget();
    const auto target = refreshTarget("Health check", "ERROR: Health check failed: ");
    if (!target) {
        return snapshot();
    }
    if (!oldTarget) {
        log("Health check passed");
        return snapshot();
    }
    if (hasMoved(oldTarget, *target) && runtimeStatus.isRunning()) {
        return followMovedTarget(*oldTarget, *target);
    }
    if (m_status == ServiceStatus::stopped) {
        log("Health check restarting missing listener");
        return startForwarding();
    }
    log("Health check passed");
    return snapshot();
}

ServiceSnapshot ServiceController::checkNow() {
    reloadIfChangedOnDisk();
    m_status = ServiceStatus::checking;
    m_lastCheckAt = Clock::now();
    const auto runtimeStatus = probe();
    updateRuntimeStatus(runtimeStatus);
    const auto oldTarget = usableCachedTarget();
    const auto target = refreshTarget("Check", "ERROR: Target resolution failed: ");
    if (!target) {
        log(checkResultLogLine());
        return snapshot();
    }
    log("Resolved target: " + target->text());
    if (hasMoved(oldTarget, *target) && runtimeStatus.isRunning()) {
        return followMovedTarget(*oldTarget, *target);
    }
    if (m_status == ServiceStatus::checking) {
        m_status = probe().isRunning() ? ServiceStatus::running : ServiceStatus::stopped;
    }
    log(checkResultLogLine());
    return snapshot();
}

} // namespace velquor

#include "VelquorApp/AppViewModel/AppViewModel.h"

#include "core/logging/LogPreviewFormatter.h"
#include "core/service/CheckInterval.h"
#include "core/text/Whitespace.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDateTime>
#include <QGuiApplication>
#include <QPointer>
#include <qcoro/qcorofuture.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace velquor {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

const QString noneText = QStringLiteral("无");

// What the settings form shows of a configuration: not what the controller keeps by itself.
ForwarderConfig formOf(ForwarderConfig config) {
    config.target.reset();
    config.recentListenPorts.clear();
    return config;
}

} // namespace

AppViewModel::AppViewModel(std::shared_ptr<ServiceController> controller,
                           AppEnvironment environment, std::unique_ptr<DesktopNotifying> notifier,
                           QObject* parent)
    : QObject(parent), m_environment(std::move(environment)), m_worker(std::move(controller)),
      m_launchAgentManager(m_environment.launchAgentsDirectory),
      m_lastCheckText(QStringLiteral("尚未检查")), m_lastErrorText(noneText),
      m_processIdentifierText(noneText), m_socatRuntimeText(QStringLiteral("未检测")),
      m_socatExecutableText(QStringLiteral("未检测")),
      m_discoveryURLText(qt(ForwarderConfig::defaultDiscoveryURL().text)),
      m_listenPortText(QString::number(ForwarderConfig::defaultListenPort)),
      m_settingsFeedbackText(QStringLiteral("修改配置后请点击保存设置。")),
      m_autoStartStatusText(QStringLiteral("开机启动状态未检查")), m_notices(std::move(notifier)),
      m_earlyChecks([this] { return healthCheckInterval(); }) {
    m_socatExecutableText = QString::fromStdString(m_environment.socatExecutable.string());
    m_healthTimer.setObjectName(QStringLiteral("healthTimer"));
    m_healthTimer.setSingleShot(true);
    // A coarse timer may fire up to 5 % early, before the interval the user set.
    m_healthTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_healthTimer, &QTimer::timeout, this, [this] { runHealthCheckCycle(); });
    connect(&m_earlyChecks, &EarlyChecks::checkWanted, this, &AppViewModel::checkEarly);
    connect(&m_earlyChecks, &EarlyChecks::noteWanted, this, &AppViewModel::noteInLog);
    m_earlyChecks.watchSystem();
    if (m_environment.forwarderErrors) {
        m_earlyChecks.watchForwarderOutput(m_environment.forwarderErrors->readDescriptor());
    }
    // Posted, so that whoever built the view model can connect to it before loading begins.
    QTimer::singleShot(0, this, [this] { load(); });
}

AppViewModel::~AppViewModel() {
    stopHealthMonitor();
}

// --- published fields written by the views ---

void AppViewModel::setSelectedSection(AppSection section) {
    publish(m_selectedSection, section, &AppViewModel::selectedSectionChanged);
}

void AppViewModel::setDiscoveryURLText(const QString& text) {
    publish(m_discoveryURLText, text, &AppViewModel::discoveryURLTextChanged);
}

void AppViewModel::setListenPortText(const QString& text) {
    publish(m_listenPortText, text, &AppViewModel::listenPortTextChanged);
}

void AppViewModel::setListenHost(const QString& host) {
    auto config = m_config;
    config.listenHost = host.toStdString();
    publish(m_config, std::move(config), &AppViewModel::configChanged);
}

void AppViewModel::setCheckIntervalSeconds(std::int64_t seconds) {
    auto config = m_config;
    config.checkIntervalSeconds = seconds;
    publish(m_config, std::move(config), &AppViewModel::configChanged);
}

void AppViewModel::setFailureThreshold(std::int64_t threshold) {
    auto config = m_config;
    config.failureThreshold = threshold;
    publish(m_config, std::move(config), &AppViewModel::configChanged);
}

void AppViewModel::setLogRetentionDays(std::int64_t days) {
    auto config = m_config;
    config.logRetentionDays = days;
    publish(m_config, std::move(config), &AppViewModel::configChanged);
}

void AppViewModel::setDesktopNotifications(bool enabled) {
    m_isEditingSettings = true;
    auto config = m_config;
    config.desktopNotifications = enabled;
    publish(m_config, std::move(config), &AppViewModel::configChanged);
}

QString AppViewModel::forwarderExecutableText() const {
    return m_socatExecutableText.isEmpty() ? QStringLiteral("未检测") : QStringLiteral("已内置");
}

std::chrono::milliseconds AppViewModel::healthCheckInterval() const {
    return CheckInterval::waitFor(m_config.checkIntervalSeconds);
}

// --- snapshots ---

void AppViewModel::apply(const ServiceSnapshot& snapshot, HealthNotices::Cause cause) {
    m_notices.take(snapshot, cause);
    m_earlyChecks.follow(snapshot);
    publish(m_healthWarningText,
            snapshot.healthWarning ? DesktopNotification::warning(*snapshot.healthWarning).body
                                   : QString(),
            &AppViewModel::healthWarningTextChanged);
    publish(m_serviceStatus, snapshot.status, &AppViewModel::serviceStatusChanged);
    const auto previous = m_persistedConfig;
    publish(m_persistedConfig, snapshot.config, &AppViewModel::configInUseChanged);
    if (!m_isEditingSettings) {
        publish(m_config, snapshot.config, &AppViewModel::configChanged);
        setDraftTexts(snapshot.config);
    } else {
        rebaseDraft(previous);
    }
    publish(m_currentTarget, snapshot.currentTarget, &AppViewModel::currentTargetChanged);
    publish(m_lastErrorText, snapshot.lastError ? qt(*snapshot.lastError) : noneText,
            &AppViewModel::lastErrorTextChanged);
    publish(m_processIdentifierText,
            snapshot.processIdentifier ? QString::number(*snapshot.processIdentifier) : noneText,
            &AppViewModel::processIdentifierTextChanged);
    publish(m_socatRuntimeText, qt(snapshot.socatRuntimeStatus.displayText()),
            &AppViewModel::socatRuntimeTextChanged);
    if (snapshot.lastCheckAt) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
            snapshot.lastCheckAt->time_since_epoch());
        publish(m_lastCheckText,
                QDateTime::fromSecsSinceEpoch(seconds.count()).toString(QStringLiteral("HH:mm:ss")),
                &AppViewModel::lastCheckTextChanged);
    }
}

// A hand edit of the file, once loaded, must not be undone by saving a draft begun before it:
// what the user left as it was takes the new value, what the user changed stays, so a save
// writes only the user's changes. The target and the port history the controller keeps follow
// the same way.
void AppViewModel::rebaseDraft(const ForwarderConfig& previous) {
    const auto& inUse = m_persistedConfig;
    if (previous == inUse) {
        return;
    }
    publish(m_config, m_config.rebased(previous, inUse), &AppViewModel::configChanged);
    if (validListenPort(m_listenPortText) == previous.listenPort) {
        publish(m_listenPortText, QString::number(inUse.listenPort),
                &AppViewModel::listenPortTextChanged);
    }
    if (draftDiscoveryURL() == previous.discoveryURL) {
        publish(m_discoveryURLText, qt(inUse.discoveryURL.text),
                &AppViewModel::discoveryURLTextChanged);
    }
    if (formOf(previous) != formOf(inUse) && makeConfigFromDraftWithoutFeedback() != inUse) {
        setSettingsFeedback(QStringLiteral("配置文件已在外部修改，未改动的设置已随之更新。"),
                            false);
    }
}

void AppViewModel::setDraftTexts(const ForwarderConfig& config) {
    publish(m_discoveryURLText, qt(config.discoveryURL.text),
            &AppViewModel::discoveryURLTextChanged);
    publish(m_listenPortText, QString::number(config.listenPort),
            &AppViewModel::listenPortTextChanged);
}

QCoro::Task<> AppViewModel::refreshLogPreview() {
    QPointer self(this);
    const auto logs = m_worker.run([](ServiceController& c) { return c.readLogs(); });
    const auto text = co_await logs;
    if (!self) {
        co_return;
    }
    publish(m_logPreview, qt(LogPreviewFormatter::displayText(text, logPreviewLines)),
            &AppViewModel::logPreviewChanged);
}

// --- settings ---

std::optional<Url> AppViewModel::validDiscoveryURL(const QString& text) {
    auto url = Url::parse(text.toStdString());
    if (!url) {
        return std::nullopt;
    }
    const auto scheme = QString::fromStdString(url->scheme).toLower();
    if ((scheme != QStringLiteral("http") && scheme != QStringLiteral("https")) || !url->host ||
        url->host->empty()) {
        return std::nullopt;
    }
    return url;
}

std::optional<std::int64_t> AppViewModel::validListenPort(const QString& text) {
    const auto trimmed = trimWhitespace(text.toStdString());
    std::string_view digits = trimmed;
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    value = negative ? -value : value;
    if (!ForwarderConfig::isValidListenPort(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<Url> AppViewModel::draftDiscoveryURL() const {
    return validDiscoveryURL(qt(trimWhitespace(m_discoveryURLText.toStdString())));
}

std::optional<ForwarderConfig> AppViewModel::makeConfigFromDraftWithoutFeedback() const {
    const auto url = draftDiscoveryURL();
    const auto port = validListenPort(m_listenPortText);
    if (!url || !port) {
        return std::nullopt;
    }
    auto config = m_config;
    config.discoveryURL = *url;
    config.listenPort = *port;
    return config;
}

std::optional<ForwarderConfig> AppViewModel::makeConfigFromDraft() {
    if (!draftDiscoveryURL()) {
        setSettingsFeedback(
            QStringLiteral("动态地址接口无效，请输入 http:// 或 https:// 开头的完整地址。"), true);
        return std::nullopt;
    }
    if (!validListenPort(m_listenPortText)) {
        setSettingsFeedback(QStringLiteral("本地监听端口无效，请输入 1024 到 65535 之间的数字。"),
                            true);
        return std::nullopt;
    }
    auto config = makeConfigFromDraftWithoutFeedback();
    setDraftTexts(*config);
    return config;
}

void AppViewModel::setSettingsFeedback(const QString& text, bool isError) {
    publish(m_settingsFeedbackText, text, &AppViewModel::settingsFeedbackTextChanged);
    publish(m_settingsFeedbackIsError, isError, &AppViewModel::settingsFeedbackIsErrorChanged);
}

void AppViewModel::saveSettings() {
    auto config = makeConfigFromDraft();
    if (!config) {
        return;
    }
    setSettingsFeedback(QStringLiteral("正在保存设置..."), false);
    saveSettingsTask(std::move(*config), m_serviceStatus == ServiceStatus::running);
}

QCoro::Task<> AppViewModel::saveSettingsTask(ForwarderConfig config, bool wasRunning) {
    QPointer self(this);
    const auto saving = saveConfig(std::move(config), wasRunning);
    co_await saving;
    if (self) {
        co_await refreshLogPreview();
    }
}

QCoro::Task<ServiceSnapshot> AppViewModel::saveConfig(ForwarderConfig config, bool wasRunning) {
    QPointer self(this);
    m_earlyChecks.dropExitWatch(); // saving may restart the forwarder
    const auto saved = m_worker.run(
        [config = std::move(config)](ServiceController& c) { return c.saveConfig(config); });
    auto snapshot = co_await saved;
    if (!self) {
        co_return snapshot;
    }
    m_isEditingSettings = false;
    apply(snapshot);
    if (snapshot.lastError) {
        setSettingsFeedback(QStringLiteral("保存失败：") + qt(*snapshot.lastError), true);
    } else if (wasRunning && snapshot.status == ServiceStatus::running) {
        setSettingsFeedback(QStringLiteral("设置已保存，运行中的转发已按新配置自动重启。"), false);
    } else {
        setSettingsFeedback(QStringLiteral("设置已保存。启动状态变更请使用上方启动/停止按钮。"),
                            false);
    }
    co_return snapshot;
}

QCoro::Task<bool> AppViewModel::savePendingSettingsBeforeAction() {
    if (const auto draft = makeConfigFromDraftWithoutFeedback();
        draft && *draft == m_persistedConfig) {
        co_return true;
    }
    auto config = makeConfigFromDraft();
    if (!config) {
        co_return false;
    }
    setSettingsFeedback(QStringLiteral("检测到设置变更，正在先保存..."), false);
    // Each awaited call is a statement of its own: GCC 12 destroys temporaries of a co_await
    // expression twice.
    const auto saving = saveConfig(std::move(*config), m_serviceStatus == ServiceStatus::running);
    const auto snapshot = co_await saving;
    co_return !snapshot.lastError.has_value();
}

void AppViewModel::resetSettings() {
    publish(m_config, ForwarderConfig::defaults(), &AppViewModel::configChanged);
    setDraftTexts(m_config);
    m_isEditingSettings = false;
    setSettingsFeedback(QStringLiteral("已恢复默认值，点击保存设置后生效。"), false);
}

void AppViewModel::markSettingsEdited() {
    m_isEditingSettings = true;
}

void AppViewModel::setAutoStartStatus(bool enabled) {
    publish(m_autoStartStatusText,
            enabled ? QStringLiteral("已开启，登录 Linux 后会自动启动 App。")
                    : QStringLiteral("已关闭，登录 Linux 后不会自动启动。"),
            &AppViewModel::autoStartStatusTextChanged);
}

void AppViewModel::setAutoStartPreference(bool enabled) {
    m_isEditingSettings = true;
    auto config = m_config;
    try {
        m_launchAgentManager.setEnabled(enabled);
        config.autoStart = enabled;
        publish(m_config, std::move(config), &AppViewModel::configChanged);
        setAutoStartStatus(enabled);
        setSettingsFeedback(enabled
                                ? QStringLiteral("开机启动已开启，点击保存设置后同步保存偏好。")
                                : QStringLiteral("开机启动已关闭，点击保存设置后同步保存偏好。"),
                            false);
    } catch (const std::exception& error) {
        config.autoStart = m_launchAgentManager.isEnabled();
        publish(m_config, std::move(config), &AppViewModel::configChanged);
        publish(m_autoStartStatusText, QStringLiteral("开机启动状态变更失败。"),
                &AppViewModel::autoStartStatusTextChanged);
        setSettingsFeedback(QStringLiteral("开机启动设置失败：") + QString::fromUtf8(error.what()),
                            true);
    }
}

void AppViewModel::syncAutoStartStatus() {
    const bool enabled = m_launchAgentManager.isEnabled();
    auto config = m_config;
    config.autoStart = enabled;
    publish(m_config, std::move(config), &AppViewModel::configChanged);
    setAutoStartStatus(enabled);
}

// --- loading and the health monitor ---

QCoro::Task<> AppViewModel::load() {
    QPointer self(this);
    const auto loading = m_worker.run([](ServiceController& c) { return c.load(true); });
    auto snapshot = co_await loading;
    if (!self) {
        co_return;
    }
    apply(snapshot, HealthNotices::Cause::start);
    syncAutoStartStatus();
    const auto refreshed =
        m_worker.run([](ServiceController& c) { return c.refreshRuntimeStatus(); });
    snapshot = co_await refreshed;
    if (!self) {
        co_return;
    }
    apply(snapshot);
    co_await refreshLogPreview();
    if (!self) {
        co_return;
    }
    startHealthMonitor();
    emit loaded();
}

void AppViewModel::startHealthMonitor() {
    stopHealthMonitor();
    m_monitorActive = true;
    armHealthMonitor();
    // A forwarder that ended while loading asked for its check before the monitor ran.
    if (const auto delay = std::exchange(m_pendingCheckDelay, std::nullopt)) {
        checkEarly(*delay);
    }
}

void AppViewModel::stopHealthMonitor() {
    m_monitorActive = false;
    m_healthTimer.stop();
}

void AppViewModel::armHealthMonitor() {
    // Read afresh before every wait, so a changed interval applies from the next one.
    m_healthTimer.start(healthCheckInterval());
}

QCoro::Task<> AppViewModel::runHealthCheckCycle() {
    if (!m_monitorActive) {
        co_return;
    }
    QPointer self(this);
    m_checkRunning = true;
    m_earlyChecks.mayStartForwarder(); // the check may restart the forwarder or move it
    const auto checked = m_worker.run([](ServiceController& c) { return c.healthCheck(); });
    const auto snapshot = co_await checked;
    if (!self) {
        co_return;
    }
    apply(snapshot); // a check under way when the monitor stopped still shows its result
    m_earlyChecks.checkFinished(snapshot);
    co_await refreshLogPreview();
    if (!self) {
        co_return;
    }
    m_checkRunning = false;
    if (m_monitorActive) {
        armHealthMonitor(); // cycles never overlap: the next wait begins after this one ends
    }
    if (const auto delay = std::exchange(m_pendingCheckDelay, std::nullopt)) {
        checkEarly(*delay);
    }
}

void AppViewModel::checkEarly(std::chrono::milliseconds delay) {
    if (!m_monitorActive || m_checkRunning) {
        m_pendingCheckDelay = std::min(delay, m_pendingCheckDelay.value_or(delay));
        return;
    }
    if (!m_healthTimer.isActive() || m_healthTimer.remainingTime() > delay.count()) {
        m_healthTimer.start(delay);
    }
}

// --- service commands ---

QCoro::Task<> AppViewModel::runCommand(ServiceSnapshot (ServiceController::*operation)(),
                                       bool savesPendingSettings) {
    QPointer self(this);
    bool mayRun = true;
    if (savesPendingSettings) {
        const auto saving = savePendingSettingsBeforeAction();
        mayRun = co_await saving;
    }
    if (!self) {
        co_return;
    }
    if (mayRun) {
        m_earlyChecks.mayStartForwarder(); // an exit we cause is no reason for an early check
        if (operation != &ServiceController::checkNow) {
            m_earlyChecks.resetBackoff();
        }
        const auto commanded =
            m_worker.run([operation](ServiceController& c) { return (c.*operation)(); });
        const auto snapshot = co_await commanded;
        if (!self) {
            co_return;
        }
        const bool starts =
            operation == &ServiceController::start || operation == &ServiceController::restart;
        apply(snapshot, starts ? HealthNotices::Cause::start : HealthNotices::Cause::other);
    }
    co_await refreshLogPreview();
}

void AppViewModel::startService() {
    runCommand(&ServiceController::start, true);
}

void AppViewModel::stopService() {
    runCommand(&ServiceController::stop, false);
}

void AppViewModel::restartService() {
    runCommand(&ServiceController::restart, true);
}

void AppViewModel::checkNow() {
    runCommand(&ServiceController::checkNow, true);
}

void AppViewModel::quitApplication() {
    stopHealthMonitor();
    m_earlyChecks.dropExitWatch();
    quitTask();
}

QCoro::Task<> AppViewModel::quitTask() {
    QPointer self(this);
    const auto stopped = m_worker.run([](ServiceController& c) { return c.stop(); });
    co_await stopped;
    if (self) {
        emit quitting();
    }
    QCoreApplication::quit();
}

// --- logs ---

void AppViewModel::clearLogs() {
    clearLogsTask();
}

QCoro::Task<> AppViewModel::clearLogsTask() {
    QPointer self(this);
    const auto cleared = m_worker.run([](ServiceController& c) { return c.clearLogs(); });
    const auto snapshot = co_await cleared;
    if (!self) {
        co_return;
    }
    apply(snapshot);
    co_await refreshLogPreview();
}

void AppViewModel::noteInLog(const QString& message) {
    m_worker.run([text = message.toStdString()](ServiceController& c) { c.note(text); });
}

void AppViewModel::copyLogs() {
    auto* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(m_logPreview);
}

} // namespace velquor

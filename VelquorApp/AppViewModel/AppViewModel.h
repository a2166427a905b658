#pragma once

#include "VelquorApp/AppViewModel/AppEnvironment.h"
#include "VelquorApp/AppViewModel/AppSection.h"
#include "VelquorApp/AppViewModel/ControllerWorker.h"
#include "VelquorApp/AppViewModel/EarlyChecks.h"
#include "VelquorApp/AppViewModel/HealthNotices.h"
#include "core/login/LaunchAgentManager.h"
#include "core/service/ServiceSnapshot.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <memory>
#include <optional>

namespace velquor {

// The one object between the views and the service controller. Everything the views show is a
// field here, changed only on the main thread, and every change is announced by the field's
// signal (also when the value stays the same). Controller calls run on the worker thread; the
// main thread only posts them and applies the snapshots that come back.
class AppViewModel : public QObject {
    Q_OBJECT

public:
    AppViewModel(std::shared_ptr<ServiceController> controller,
                 AppEnvironment environment = AppEnvironment::forCurrentUser(),
                 std::unique_ptr<DesktopNotifying> notifier = nullptr, QObject* parent = nullptr);
    ~AppViewModel() override;

    // --- published fields ---
    AppSection selectedSection() const { return m_selectedSection; }
    void setSelectedSection(AppSection section);
    ServiceStatus serviceStatus() const { return m_serviceStatus; }
    const ForwarderConfig& config() const { return m_config; }
    // The configuration of the last snapshot: what the controller works with, whatever the
    // settings form holds. Views that show where forwarding listens read this one.
    const ForwarderConfig& configInUse() const { return m_persistedConfig; }
    const std::optional<TargetEndpoint>& currentTarget() const { return m_currentTarget; }
    const QString& lastCheckText() const { return m_lastCheckText; }
    const QString& lastErrorText() const { return m_lastErrorText; }
    const QString& logPreview() const { return m_logPreview; }
    const QString& processIdentifierText() const { return m_processIdentifierText; }
    const QString& socatRuntimeText() const { return m_socatRuntimeText; }
    const QString& socatExecutableText() const { return m_socatExecutableText; }
    const QString& discoveryURLText() const { return m_discoveryURLText; }
    const QString& listenPortText() const { return m_listenPortText; }
    const QString& settingsFeedbackText() const { return m_settingsFeedbackText; }
    bool settingsFeedbackIsError() const { return m_settingsFeedbackIsError; }
    const QString& autoStartStatusText() const { return m_autoStartStatusText; }
    // The health checks' active warning in the user's words; empty while there is none.
    const QString& healthWarningText() const { return m_healthWarningText; }

    // The settings form writes the draft through these; the two texts also mark it edited.
    void setDiscoveryURLText(const QString& text);
    void setListenPortText(const QString& text);
    void setListenHost(const QString& host);
    void setCheckIntervalSeconds(std::int64_t seconds);
    void setFailureThreshold(std::int64_t threshold);
    void setLogRetentionDays(std::int64_t days);
    void setDesktopNotifications(bool enabled);

    const std::filesystem::path& logsDirectoryURL() const { return m_environment.logsDirectory; }
    QString forwarderExecutableText() const;
    // How long the health monitor waits before its next check: the form's interval, at least 5 s
    // and at most the longest wait a timer holds.
    std::chrono::milliseconds healthCheckInterval() const;
    bool isHealthMonitorRunning() const { return m_monitorActive; }

    // --- settings ---
    void saveSettings();
    void resetSettings();
    void setAutoStartPreference(bool enabled);
    void markSettingsEdited();

    // --- service ---
    void startService();
    void stopService();
    void restartService();
    void checkNow();
    void quitApplication();

    // --- logs ---
    QCoro::Task<> refreshLogPreview();
    void clearLogs();
    void copyLogs();
    // Writes a line about the application itself to the service log, through the controller.
    void noteInLog(const QString& message);

    // Parsers of the two free-text fields of the settings form.
    static std::optional<Url> validDiscoveryURL(const QString& text);
    static std::optional<std::int64_t> validListenPort(const QString& text);

    static constexpr std::int64_t logPreviewLines = 500;

signals:
    void selectedSectionChanged();
    void serviceStatusChanged();
    void configChanged();
    void configInUseChanged();
    void currentTargetChanged();
    void lastCheckTextChanged();
    void lastErrorTextChanged();
    void logPreviewChanged();
    void processIdentifierTextChanged();
    void socatRuntimeTextChanged();
    void socatExecutableTextChanged();
    void discoveryURLTextChanged();
    void listenPortTextChanged();
    void settingsFeedbackTextChanged();
    void settingsFeedbackIsErrorChanged();
    void autoStartStatusTextChanged();
    void healthWarningTextChanged();
    // The controller has stopped the forwarder and the event loop is being ended.
    void quitting();
    // Loading finished and the monitor runs.
    void loaded();

private:
    QCoro::Task<> load();
    void startHealthMonitor();
    void stopHealthMonitor();
    void armHealthMonitor();
    QCoro::Task<> runHealthCheckCycle();
    // Brings the next health check forward to `delay` from now, unless it is due sooner.
    void checkEarly(std::chrono::milliseconds delay);

    void apply(const ServiceSnapshot& snapshot,
               HealthNotices::Cause cause = HealthNotices::Cause::other);
    // The configuration in use changed under an edited form, from `previous`.
    void rebaseDraft(const ForwarderConfig& previous);
    void syncAutoStartStatus();
    std::optional<Url> draftDiscoveryURL() const;
    std::optional<ForwarderConfig> makeConfigFromDraft();
    std::optional<ForwarderConfig> makeConfigFromDraftWithoutFeedback() const;
    QCoro::Task<ServiceSnapshot> saveConfig(ForwarderConfig config, bool wasRunning);
    QCoro::Task<bool> savePendingSettingsBeforeAction();
    QCoro::Task<> runCommand(ServiceSnapshot (ServiceController::*operation)(),
                             bool savesPendingSettings);
    QCoro::Task<> saveSettingsTask(ForwarderConfig config, bool wasRunning);
    QCoro::Task<> clearLogsTask();
    QCoro::Task<> quitTask();

    void setSettingsFeedback(const QString& text, bool isError);
    void setAutoStartStatus(bool enabled);
    void setDraftTexts(const ForwarderConfig& config);

    template <typename T> void publish(T& field, T value, void (AppViewModel::*signal)()) {
        field = std::move(value);
        emit(this->*signal)();
    }

    AppEnvironment m_environment;
    ControllerWorker m_worker;
    LaunchAgentManager m_launchAgentManager;

    AppSection m_selectedSection = AppSection::status;
    ServiceStatus m_serviceStatus = ServiceStatus::stopped;
    ForwarderConfig m_config = ForwarderConfig::defaults();
    std::optional<TargetEndpoint> m_currentTarget;
    QString m_lastCheckText;
    QString m_lastErrorText;
    QString m_logPreview;
    QString m_processIdentifierText;
    QString m_socatRuntimeText;
    QString m_socatExecutableText;
    QString m_discoveryURLText;
    QString m_listenPortText;
    QString m_settingsFeedbackText;
    bool m_settingsFeedbackIsError = false;
    QString m_autoStartStatusText;
    QString m_healthWarningText;

    bool m_isEditingSettings = false;
    ForwarderConfig m_persistedConfig = ForwarderConfig::defaults();
    QTimer m_healthTimer{this};
    bool m_monitorActive = false;
    bool m_checkRunning = false;
    // An early check asked for while a check was running: due this long after it ends.
    std::optional<std::chrono::milliseconds> m_pendingCheckDelay;
    HealthNotices m_notices;
    EarlyChecks m_earlyChecks;
};

} // namespace velquor

#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace velquor {

class AppViewModel;
class LineLimitedLabel;
class LocaleIntegerField;
class PageHeader;
class RoundedPanel;
class SettingsStatusPanel;
class ToggleSwitch;

// The settings page: the service state and commands on top, then the form over the view
// model's draft of the configuration, the start-at-login switch and the save and restore
// buttons with the last feedback. The fields write into the view model on every keystroke;
// validating and saving are the view model's.
class SettingsPage : public QWidget {
    Q_OBJECT

public:
    explicit SettingsPage(AppViewModel& viewModel, QWidget* parent = nullptr);

    PageHeader& header() const { return *m_header; }
    SettingsStatusPanel& statusPanel() const { return *m_statusPanel; }
    QLineEdit& listenHostField() const { return *m_listenHost; }
    QLineEdit& listenPortField() const { return *m_listenPort; }
    QLineEdit& discoveryURLField() const { return *m_discoveryURL; }
    LocaleIntegerField& checkIntervalField() const { return *m_checkInterval; }
    LocaleIntegerField& failureThresholdField() const { return *m_failureThreshold; }
    LocaleIntegerField& logRetentionDaysField() const { return *m_logRetentionDays; }
    ToggleSwitch& autoStartSwitch() const { return *m_autoStart; }
    QLabel& autoStartStatusLabel() const { return *m_autoStartStatus; }
    ToggleSwitch& desktopNotificationsSwitch() const { return *m_desktopNotifications; }
    QPushButton& resetButton() const { return *m_reset; }
    QPushButton& saveButton() const { return *m_save; }
    QLabel& feedbackSymbol() const { return *m_feedbackSymbol; }
    LineLimitedLabel& feedbackLabel() const { return *m_feedback; }
    // The symbol the feedback shows now.
    QString feedbackSymbolName() const { return m_feedbackSymbolName; }

    static constexpr int maximumFeedbackLines = 2;
    static constexpr int shortFieldWidth = 220;

protected:
    void changeEvent(QEvent* event) override;

private:
    void buildForm(RoundedPanel& panel);
    void refresh();
    void refreshFeedback();
    void showDraftText(QLineEdit& field, const QString& text);

    AppViewModel& m_viewModel;
    PageHeader* m_header;
    SettingsStatusPanel* m_statusPanel;
    RoundedPanel* m_formPanel;
    QLineEdit* m_listenHost;
    QLineEdit* m_listenPort;
    QLineEdit* m_discoveryURL;
    LocaleIntegerField* m_checkInterval;
    LocaleIntegerField* m_failureThreshold;
    LocaleIntegerField* m_logRetentionDays;
    ToggleSwitch* m_autoStart;
    QLabel* m_autoStartStatus;
    ToggleSwitch* m_desktopNotifications;
    QPushButton* m_reset;
    QPushButton* m_save;
    QLabel* m_feedbackSymbol;
    LineLimitedLabel* m_feedback;
    QString m_feedbackSymbolName;
};

} // namespace velquor

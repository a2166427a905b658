#pragma once

#include "VelquorApp/MainWindowView/RoundedPanel.h"

class QLabel;
class QPushButton;

namespace velquor {

class AppViewModel;
class CapsuleLabel;
class SeparatorLine;
class StatusBadge;
class StatusMetric;

// The top of the settings page: the service state with its badge and explanation, the listen
// address, the three service commands and four figures, so that the effect of a saved change
// can be checked without leaving the page. Re-reads the view model on each change it announces.
class SettingsStatusPanel : public RoundedPanel {
    Q_OBJECT

public:
    explicit SettingsStatusPanel(AppViewModel& viewModel, QWidget* parent = nullptr);

    void refresh();

    StatusBadge& badge() const { return *m_badge; }
    QLabel& titleLabel() const { return *m_title; }
    CapsuleLabel& stateBadge() const { return *m_stateBadge; }
    QLabel& explanationLabel() const { return *m_explanation; }
    QLabel& listenAddressLabel() const { return *m_listenAddress; }
    QPushButton& checkButton() const { return *m_check; }
    QPushButton& startButton() const { return *m_start; }
    QPushButton& stopButton() const { return *m_stop; }
    StatusMetric& processMetric() const { return *m_process; }
    StatusMetric& pidMetric() const { return *m_pid; }
    StatusMetric& lastCheckMetric() const { return *m_lastCheck; }
    StatusMetric& lastErrorMetric() const { return *m_lastError; }

    static constexpr int badgeDiameter = 58;
    static constexpr qreal outlineOpacity = 0.22;
    static constexpr qreal stateBadgeOpacity = 0.12;

protected:
    void changeEvent(QEvent* event) override;

private:
    AppViewModel& m_viewModel;
    StatusBadge* m_badge;
    QLabel* m_title;
    CapsuleLabel* m_stateBadge;
    QLabel* m_explanation;
    QLabel* m_listenAddress;
    QPushButton* m_check;
    QPushButton* m_start;
    QPushButton* m_stop;
    SeparatorLine* m_divider;
    StatusMetric* m_process;
    StatusMetric* m_pid;
    StatusMetric* m_lastCheck;
    StatusMetric* m_lastError;
};

} // namespace velquor

#pragma once

#include "VelquorApp/MainWindowView/RoundedPanel.h"

#include <QString>

class QLabel;
class QPushButton;

namespace velquor {

class AppViewModel;
class StatusBadge;

// The top of the status page: the state in large type with its badge and explanation, the
// listen-to-target route, and the four service commands.
class StatusHeroPanel : public RoundedPanel {
    Q_OBJECT

public:
    StatusHeroPanel(AppViewModel& viewModel, QWidget* parent = nullptr);

    void refresh(const QString& targetText);

    StatusBadge& badge() const { return *m_badge; }
    QLabel& titleLabel() const { return *m_title; }
    QLabel& explanationLabel() const { return *m_explanation; }
    QLabel& routeLabel() const { return *m_route; }
    QPushButton& startButton() const { return *m_start; }
    QPushButton& stopButton() const { return *m_stop; }
    QPushButton& restartButton() const { return *m_restart; }
    QPushButton& checkButton() const { return *m_check; }

    static constexpr qreal fillOpacity = 0.08;
    static constexpr qreal outlineOpacity = 0.24;

protected:
    void changeEvent(QEvent* event) override;

private:
    AppViewModel& m_viewModel;
    QString m_targetText;
    StatusBadge* m_badge;
    QLabel* m_title;
    QLabel* m_explanation;
    QLabel* m_route;
    QPushButton* m_start;
    QPushButton* m_stop;
    QPushButton* m_restart;
    QPushButton* m_check;
};

} // namespace velquor

#pragma once

#include <QString>
#include <QWidget>

namespace velquor {

class AppViewModel;
class StatusTile;

// The row of four tiles under the status hero: listen address, current target, forwarding
// process and last check.
class StatusQuickGrid : public QWidget {
    Q_OBJECT

public:
    explicit StatusQuickGrid(const AppViewModel& viewModel, QWidget* parent = nullptr);

    void refresh(const QString& targetText);

    StatusTile& listenTile() const { return *m_listen; }
    StatusTile& targetTile() const { return *m_target; }
    StatusTile& processTile() const { return *m_process; }
    StatusTile& lastCheckTile() const { return *m_lastCheck; }

private:
    const AppViewModel& m_viewModel;
    StatusTile* m_listen;
    StatusTile* m_target;
    StatusTile* m_process;
    StatusTile* m_lastCheck;
};

} // namespace velquor

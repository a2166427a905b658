#pragma once

#include <QLabel>

namespace velquor {

class AppViewModel;

// The health checks' active warning as one line (wrapped when long) in the warning colour; hidden
// while there is none, so the fields around it keep their places.
class HealthWarningLine : public QLabel {
    Q_OBJECT

public:
    explicit HealthWarningLine(AppViewModel& viewModel, QWidget* parent = nullptr);

    // What the user reads, also while hidden: "健康警告：" and the warning.
    static QString lineText(const QString& warningText);

private:
    void refresh();

    AppViewModel& m_viewModel;
};

} // namespace velquor

#include "VelquorApp/MainWindowView/HealthWarningLine.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/Theme.h"

namespace velquor {

HealthWarningLine::HealthWarningLine(AppViewModel& viewModel, QWidget* parent)
    : QLabel(parent), m_viewModel(viewModel) {
    setObjectName(QStringLiteral("healthWarningLine"));
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto font = Theme::font(Theme::TextStyle::callout);
    font.setBold(true);
    setFont(font);
    Theme::setTextColor(*this, Theme::orange());
    connect(&viewModel, &AppViewModel::healthWarningTextChanged, this, &HealthWarningLine::refresh);
    refresh();
}

QString HealthWarningLine::lineText(const QString& warningText) {
    return QStringLiteral("健康警告：") + warningText;
}

void HealthWarningLine::refresh() {
    const auto& warning = m_viewModel.healthWarningText();
    setText(lineText(warning));
    setVisible(!warning.isEmpty());
}

} // namespace velquor

#include "VelquorApp/MainWindowView/SeparatorLine.h"

#include "VelquorApp/MainWindowView/Theme.h"

#include <QPainter>

namespace velquor {

SeparatorLine::SeparatorLine(QWidget* parent) : QWidget(parent) {
    setFixedHeight(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QColor SeparatorLine::color(const QPalette& palette) {
    return Theme::withOpacity(palette.color(QPalette::Active, QPalette::WindowText), opacity);
}

void SeparatorLine::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), color(palette()));
}

} // namespace velquor

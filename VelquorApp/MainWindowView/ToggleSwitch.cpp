#include "VelquorApp/MainWindowView/ToggleSwitch.h"

#include "VelquorApp/MainWindowView/Theme.h"

#include <QPainter>

namespace velquor {

namespace {

constexpr int trackWidth = 38;
constexpr int trackHeight = 22;
constexpr qreal knobInset = 2;
constexpr qreal offTrackOpacity = 0.25;

} // namespace

ToggleSwitch::ToggleSwitch(QWidget* parent) : QAbstractButton(parent) {
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize ToggleSwitch::sizeHint() const {
    return {trackWidth, trackHeight};
}

void ToggleSwitch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto& colors = palette();
    const QRectF track(0.5, 0.5, trackWidth - 1, trackHeight - 1);
    const auto radius = track.height() / 2;
    // Off, the track is the text colour made faint, so that it shows on light and dark surfaces.
    auto fill = isChecked()
                    ? colors.color(QPalette::Active, QPalette::Highlight)
                    : Theme::withOpacity(colors.color(QPalette::Active, QPalette::WindowText),
                                         offTrackOpacity);
    if (!isEnabled()) {
        fill = Theme::withOpacity(fill, 0.4);
    }
    painter.setPen(hasFocus()
                       ? QPen(colors.color(QPalette::Active, QPalette::Highlight).darker(140), 1)
                       : Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(track, radius, radius);

    const auto diameter = track.height() - 2 * knobInset;
    const qreal left =
        isChecked() ? track.right() - knobInset - diameter : track.left() + knobInset;
    const QRectF knob(left, track.top() + knobInset, diameter, diameter);
    painter.setPen(QPen(QColor(0, 0, 0, 40), 0.5));
    painter.setBrush(Qt::white);
    painter.drawEllipse(knob);
}

} // namespace velquor

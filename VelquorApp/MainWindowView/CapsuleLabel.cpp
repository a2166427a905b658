#include "VelquorApp/MainWindowView/CapsuleLabel.h"

#include <QPainter>

namespace velquor {

CapsuleLabel::CapsuleLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setContentsMargins(horizontalInset, verticalInset, horizontalInset, verticalInset);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void CapsuleLabel::setCapsuleColor(const QColor& color) {
    if (color != m_capsule) {
        m_capsule = color;
        update();
    }
}

void CapsuleLabel::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_capsule);
        const QRectF bounds = rect();
        const auto radius = bounds.height() / 2;
        painter.drawRoundedRect(bounds, radius, radius);
    }
    QLabel::paintEvent(event);
}

} // namespace velquor

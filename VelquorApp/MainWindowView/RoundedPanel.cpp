#include "VelquorApp/MainWindowView/RoundedPanel.h"

#include <QPainter>
#include <QPainterPath>

namespace velquor {

RoundedPanel::RoundedPanel(QWidget* parent) : QWidget(parent) {}

void RoundedPanel::setFillColor(const QColor& color) {
    if (color != m_fill) {
        m_fill = color;
        update();
    }
}

void RoundedPanel::setOutlineColor(const QColor& color) {
    if (color != m_outline) {
        m_outline = color;
        update();
    }
}

void RoundedPanel::setOutlineWidth(qreal width) {
    m_outlineWidth = width;
    update();
}

void RoundedPanel::setCornerRadius(qreal radius) {
    m_cornerRadius = radius;
    update();
}

void RoundedPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = rect();
    if (m_fill.isValid()) {
        QPainterPath shape;
        shape.addRoundedRect(bounds, m_cornerRadius, m_cornerRadius);
        painter.fillPath(shape, m_fill);
    }
    if (m_outline.isValid() && m_outlineWidth > 0) {
        // Inset by half the pen, so that the whole line lies inside and none of it is clipped.
        const auto half = m_outlineWidth / 2;
        painter.setPen(QPen(m_outline, m_outlineWidth));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(bounds.adjusted(half, half, -half, -half), m_cornerRadius - half,
                                m_cornerRadius - half);
    }
}

} // namespace velquor

#include "VelquorApp/MainWindowView/StatusBadge.h"

#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QPainter>

namespace velquor {

StatusBadge::StatusBadge(int diameter, int symbolPixelSize, qreal ringWidth, QWidget* parent)
    : QWidget(parent), m_diameter(diameter), m_symbolPixelSize(symbolPixelSize),
      m_ringWidth(ringWidth) {
    setFixedSize(diameter, diameter);
}

void StatusBadge::setStatus(const QString& symbol, const QColor& color) {
    if (symbol != m_symbol || color != m_color) {
        m_symbol = symbol;
        m_color = color;
        update();
    }
}

void StatusBadge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF disc(0, 0, m_diameter, m_diameter);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::withOpacity(m_color, discOpacity));
    painter.drawEllipse(disc);
    if (m_ringWidth > 0) {
        const auto half = m_ringWidth / 2;
        painter.setPen(QPen(Theme::withOpacity(m_color, ringOpacity), m_ringWidth));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(disc.adjusted(half, half, -half, -half));
    }
    QRectF glyph(0, 0, m_symbolPixelSize, m_symbolPixelSize);
    glyph.moveCenter(disc.center());
    SymbolIcon::paint(painter, glyph, m_symbol, m_color);
}

} // namespace velquor

#include "VelquorApp/Symbols/SymbolIconEngine.h"

#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>

namespace velquor {

SymbolIconEngine::SymbolIconEngine(QString symbol, QColor color, int naturalSize)
    : m_symbol(std::move(symbol)), m_color(std::move(color)), m_naturalSize(naturalSize) {}

QColor SymbolIconEngine::colorFor(QIcon::Mode mode) const {
    if (mode != QIcon::Disabled) {
        return m_color;
    }
    auto color = QGuiApplication::palette().color(QPalette::Disabled, QPalette::WindowText);
    color.setAlphaF(color.alphaF() * 0.6f);
    return color;
}

void SymbolIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) {
    SymbolIcon::paint(*painter, rect, m_symbol, colorFor(mode));
}

QPixmap SymbolIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) {
    return scaledPixmap(size, mode, state, 1.0);
}

// QIcon asks with the size in device pixels and the scale it will display the pixmap at.
QPixmap SymbolIconEngine::scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State,
                                       qreal scale) {
    QPixmap result(size);
    result.setDevicePixelRatio(scale);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    SymbolIcon::paint(painter, QRectF(QPointF(0, 0), QSizeF(size) / scale), m_symbol,
                      colorFor(mode));
    return result;
}

QSize SymbolIconEngine::actualSize(const QSize& size, QIcon::Mode, QIcon::State) {
    // Square glyphs: a wide request gets a square, not a stretched glyph.
    const int side = std::min(size.width(), size.height());
    return {side, side};
}

QList<QSize> SymbolIconEngine::availableSizes(QIcon::Mode, QIcon::State) {
    return {QSize(m_naturalSize, m_naturalSize)};
}

QIconEngine* SymbolIconEngine::clone() const {
    return new SymbolIconEngine(m_symbol, m_color, m_naturalSize);
}

QString SymbolIconEngine::key() const {
    return QStringLiteral("velquor.symbol");
}

bool SymbolIconEngine::isNull() {
    return SymbolIcon::ligature(m_symbol).isEmpty();
}

} // namespace velquor

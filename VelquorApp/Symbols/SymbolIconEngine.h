#pragma once

#include <QColor>
#include <QIconEngine>
#include <QString>

namespace velquor {

// Lets a QIcon draw a symbol afresh at every requested size and pixel ratio, which a tray or a
// menu asks for in sizes nobody can list in advance.
class SymbolIconEngine : public QIconEngine {
public:
    SymbolIconEngine(QString symbol, QColor color, int naturalSize);

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state,
                         qreal scale) override;
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
    QIconEngine* clone() const override;
    QString key() const override;
    bool isNull() override;

private:
    QColor colorFor(QIcon::Mode mode) const;

    QString m_symbol;
    QColor m_color;
    int m_naturalSize;
};

} // namespace velquor

#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

namespace velquor {

// The round status mark of the status page hero and the settings status panel: a tinted disc,
// optionally ringed, with the status symbol in the status colour.
class StatusBadge : public QWidget {
    Q_OBJECT

public:
    // ringWidth 0 draws no ring.
    StatusBadge(int diameter, int symbolPixelSize, qreal ringWidth, QWidget* parent = nullptr);

    void setStatus(const QString& symbol, const QColor& color);
    QString symbol() const { return m_symbol; }
    QColor color() const { return m_color; }

    static constexpr qreal discOpacity = 0.14;
    static constexpr qreal ringOpacity = 0.28;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_diameter;
    int m_symbolPixelSize;
    qreal m_ringWidth;
    QString m_symbol;
    QColor m_color;
};

} // namespace velquor

#pragma once

#include <QColor>
#include <QWidget>

namespace velquor {

// A surface with rounded corners, filled and optionally outlined; the backing of panels and
// tiles. Children are laid out inside it as in any widget.
class RoundedPanel : public QWidget {
    Q_OBJECT

public:
    explicit RoundedPanel(QWidget* parent = nullptr);

    QColor fillColor() const { return m_fill; }
    void setFillColor(const QColor& color);
    // An invalid colour draws no outline.
    QColor outlineColor() const { return m_outline; }
    void setOutlineColor(const QColor& color);
    void setOutlineWidth(qreal width);
    void setCornerRadius(qreal radius);

    static constexpr qreal defaultCornerRadius = 8;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_fill;
    QColor m_outline;
    qreal m_outlineWidth = 1;
    qreal m_cornerRadius = defaultCornerRadius;
};

} // namespace velquor

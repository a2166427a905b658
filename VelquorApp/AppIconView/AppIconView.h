#pragma once

#include <QWidget>

class QPainter;

namespace velquor {

// The application's icon, drawn from vectors at any size: a dark teal tile with a route that
// bends up and ends in an arrow, and a green dot at the arrow's head.
class AppIconView : public QWidget {
    Q_OBJECT

public:
    explicit AppIconView(qreal size, QWidget* parent = nullptr);

    qreal iconSize() const { return m_size; }
    void setIconSize(qreal size);

    // Paints the icon into the square (0, 0, size, size) of the painter's coordinates.
    static void paint(QPainter& painter, qreal size);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    qreal m_size;
};

} // namespace velquor

#pragma once

#include <QColor>
#include <QPalette>
#include <QWidget>

namespace velquor {

// A horizontal hairline that divides the parts of a panel, in the separator colour.
class SeparatorLine : public QWidget {
    Q_OBJECT

public:
    explicit SeparatorLine(QWidget* parent = nullptr);

    // The text colour, faint: a line that stays visible but quiet on light and dark surfaces
    // alike, which the palette's own frame shades do not in every theme.
    static QColor color(const QPalette& palette);

    static constexpr qreal opacity = 0.16;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velquor

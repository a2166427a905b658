#pragma once

class QAbstractButton;
class QColor;
class QWidget;

namespace velquor {

// How labels and buttons are dressed.
class ThemeWidgets {
public:
    static void setTextColor(QWidget& widget, const QColor& color);
    // The grey from the widget's own palette. In a container's palette-change handler use
    // setTextColor with the container's grey instead: the children's palettes may not have
    // followed the change yet.
    static void setSecondaryText(QWidget& widget);
    // The filled accent button of a page's main action.
    static void makeProminent(QAbstractButton& button);
    // The taller button of the actions a page is mostly used for.
    static void makeLarge(QAbstractButton& button);
};

} // namespace velquor

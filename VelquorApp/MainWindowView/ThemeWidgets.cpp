#include "VelquorApp/MainWindowView/ThemeWidgets.h"

#include "VelquorApp/MainWindowView/ThemeColors.h"

#include <QAbstractButton>
#include <QEvent>
#include <QWidget>

namespace velquor {

void ThemeWidgets::setTextColor(QWidget& widget, const QColor& color) {
    auto palette = widget.palette();
    for (const auto role : {QPalette::WindowText, QPalette::Text}) {
        palette.setColor(QPalette::Active, role, color);
        palette.setColor(QPalette::Inactive, role, color);
    }
    widget.setPalette(palette);
}

void ThemeWidgets::setSecondaryText(QWidget& widget) {
    setTextColor(widget, ThemeColors::secondaryColor(widget.palette()));
}

namespace {

QString prominentStyleSheet(const QPalette& palette) {
    const auto accent = palette.color(QPalette::Active, QPalette::Highlight);
    const auto text = palette.color(QPalette::Active, QPalette::HighlightedText);
    return QStringLiteral("QAbstractButton { background-color: %1; color: %2; border: 1px solid %3;"
                          " border-radius: 5px; padding: 3px 12px; }"
                          " QAbstractButton:hover { background-color: %4; }"
                          " QAbstractButton:pressed { background-color: %3; }"
                          " QAbstractButton:focus { border-color: %5; }")
        .arg(accent.name(), text.name(), accent.darker(125).name(), accent.lighter(110).name(),
             accent.darker(170).name());
}

// Style sheets do not follow the palette by themselves; this rewrites the button's sheet when
// the palette (the accent colour of a light or dark theme) changes.
class ProminentStyleKeeper : public QObject {
public:
    explicit ProminentStyleKeeper(QAbstractButton& button) : QObject(&button) {
        apply(button);
        button.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::PaletteChange) {
            apply(static_cast<QAbstractButton&>(*watched));
        }
        return false;
    }

private:
    // Only a changed sheet is set, so the style's own palette update does not come back here
    // in a loop.
    static void apply(QAbstractButton& button) {
        const auto sheet = prominentStyleSheet(button.palette());
        if (sheet != button.styleSheet()) {
            button.setStyleSheet(sheet);
        }
    }
};

} // namespace

void ThemeWidgets::makeProminent(QAbstractButton& button) {
    if (!button.findChild<ProminentStyleKeeper*>(QString(), Qt::FindDirectChildrenOnly)) {
        new ProminentStyleKeeper(button);
    }
}

void ThemeWidgets::makeLarge(QAbstractButton& button) {
    // Measured from the text rather than from the style's size hint, which differs between a
    // prominent and a plain button: two large buttons with texts of one length match.
    const QFontMetrics metrics(button.font());
    const int line = metrics.height();
    button.setMinimumSize(metrics.horizontalAdvance(button.text()) + 3 * line, 2 * line + 4);
}

} // namespace velquor

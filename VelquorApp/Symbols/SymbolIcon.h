#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <QString>
#include <QStringList>

class QLabel;
class QPainter;

namespace velquor {

// The user interface names its symbols by identifiers such as "checkmark.circle.fill". Each one
// is drawn as a glyph of the Material Icons font, whose ligatures turn a glyph's name into the
// glyph, so one table from identifier to glyph name is all the mapping there is.
class SymbolIcon {
public:
    // Every identifier of the table, in table order.
    static QStringList symbols();
    // The glyph name for an identifier; empty when the table has no entry.
    static QString ligature(const QString& symbol);

    // Family of the icon font, loaded on first use; empty when it could not be loaded.
    static QString fontFamily();
    // The icon font at a pixel size, with no fallback to other fonts: a glyph name the font
    // does not know then shows as nothing recognisable rather than as a word.
    static QFont font(int pixelSize);

    // Draws the symbol centred in rect, as large as the shorter side allows. An unknown
    // identifier draws nothing.
    static void paint(QPainter& painter, const QRectF& rect, const QString& symbol,
                      const QColor& color);
    // A size × size (logical) pixmap; devicePixelRatio 0 takes the application's.
    static QPixmap pixmap(const QString& symbol, const QColor& color, int size,
                          qreal devicePixelRatio = 0);
    // Draws sharply at whatever size it is asked for (tray, menus, buttons); size is the size
    // it reports as its natural one.
    static QIcon icon(const QString& symbol, const QColor& color, int size = 16);
    // Shows the symbol as the label's pixmap, at the label's pixel ratio, and fixes the label's
    // size to size × size.
    static void setOn(QLabel& label, const QString& symbol, const QColor& color, int size);
};

} // namespace velquor

#pragma once

#include <QFont>

class QLabel;

namespace velquor {

// Text styles of the windows, derived from the application font so that a user's font size
// carries through every style.
class ThemeFonts {
public:
    enum class TextStyle { largeTitle, title2, title3, headline, body, callout, caption, caption2 };

    static QFont font(TextStyle style);
    // The same size in the fixed-pitch design (addresses, URLs, process identifiers line up).
    static QFont monospacedFont(TextStyle style);
    static QFont font(TextStyle style, bool monospaced);
    // A font given by a point size of the original design, where the body text is 13 points.
    static QFont systemFont(qreal points, QFont::Weight weight = QFont::Normal);
    // Pixel size of a symbol drawn beside or instead of text of the given design points.
    static int symbolPixelSize(qreal points);
    // A line of Chinese text stands taller than a line of Latin text, and a fixed-pitch line
    // differs from a proportional one. This pads the label's top so that its first baseline
    // sits where any text of the style would put it, and texts of one style placed side by side
    // (a label and its value, a row of tiles) line up whatever their characters and design.
    // Call it again after changing the label's text or font.
    static void alignFirstBaseline(QLabel& label, TextStyle style);
};

} // namespace velquor

#pragma once

#include <QPainterPath>
#include <QRectF>

namespace velquor {

// The route of the application icon: it leaves the bottom-left corner, bends up to the
// middle, runs right and ends in an open arrow head at the right edge.
class ForwarderGlyph {
public:
    static QPainterPath path(const QRectF& rect);
};

} // namespace velquor

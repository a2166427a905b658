#include "VelquorApp/AppIconView/ForwarderGlyph.h"

namespace velquor {

QPainterPath ForwarderGlyph::path(const QRectF& r) {
    const auto w = r.width();
    const auto midY = r.center().y();
    QPainterPath path;
    path.moveTo(r.left(), r.bottom());
    path.lineTo(r.left() + 0.24 * w, r.bottom());
    path.cubicTo(QPointF(r.left() + 0.36 * w, r.bottom()), QPointF(r.left() + 0.38 * w, midY),
                 QPointF(r.left() + 0.54 * w, midY));
    path.lineTo(r.right(), midY);
    path.moveTo(r.right() - 0.22 * w, r.top());
    path.lineTo(r.right(), midY);
    path.lineTo(r.right() - 0.22 * w, r.bottom());
    return path;
}

} // namespace velquor

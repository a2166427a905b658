#include "VelquorApp/AppIconView/AppIconView.h"

#include "VelquorApp/AppIconView/ForwarderGlyph.h"

#include <QImage>
#include <QLinearGradient>
#include <QPaintDevice>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <vector>

namespace velquor {

namespace {

QPainterPath tileShape(qreal size) {
    QPainterPath shape;
    shape.addRoundedRect(QRectF(0, 0, size, size), 0.22 * size, 0.22 * size);
    return shape;
}

// One box blur pass along rows (step 1) or columns (step = bytes per line) of an 8-bit image.
void boxBlurPass(std::vector<int>& line, uchar* data, int count, int lines, int step, int lineStep,
                 int radius) {
    const int window = 2 * radius + 1;
    for (int l = 0; l < lines; ++l) {
        uchar* start = data + static_cast<std::ptrdiff_t>(l) * lineStep;
        for (int i = 0; i < count; ++i) {
            line[i] = start[static_cast<std::ptrdiff_t>(i) * step];
        }
        int sum = 0;
        for (int i = -radius; i <= radius; ++i) {
            sum += (i >= 0 && i < count) ? line[i] : 0;
        }
        for (int i = 0; i < count; ++i) {
            start[static_cast<std::ptrdiff_t>(i) * step] = static_cast<uchar>(sum / window);
            const int leaving = i - radius;
            const int entering = i + radius + 1;
            sum -= (leaving >= 0) ? line[leaving] : 0;
            sum += (entering < count) ? line[entering] : 0;
        }
    }
}

// Three box passes come close to a Gaussian of the same spread.
void blur(QImage& alpha, qreal sigma) {
    const int radius = std::max(1, static_cast<int>(std::lround(sigma * 0.9)));
    std::vector<int> line(static_cast<std::size_t>(std::max(alpha.width(), alpha.height())));
    for (int pass = 0; pass < 3; ++pass) {
        boxBlurPass(line, alpha.bits(), alpha.width(), alpha.height(), 1,
                    static_cast<int>(alpha.bytesPerLine()), radius);
        boxBlurPass(line, alpha.bits(), alpha.height(), alpha.width(),
                    static_cast<int>(alpha.bytesPerLine()), 1, radius);
    }
}

void paintShadow(QPainter& painter, qreal size) {
    const qreal scale =
        painter.device()->devicePixelRatioF() * std::abs(painter.worldTransform().m11());
    const int pixels = static_cast<int>(std::ceil(size * scale));
    if (pixels < 2) {
        return;
    }
    QImage mask(pixels, pixels, QImage::Format_Alpha8);
    mask.fill(Qt::transparent);
    {
        QPainter maskPainter(&mask);
        maskPainter.setRenderHint(QPainter::Antialiasing);
        maskPainter.scale(scale, scale);
        maskPainter.translate(0, 0.04 * size);
        maskPainter.fillPath(tileShape(size), QColor::fromRgbF(0, 0, 0, 0.14f));
    }
    blur(mask, 0.08 * size * scale / 2);
    QImage shadow(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    shadow.fill(Qt::black);
    {
        QPainter tint(&shadow);
        tint.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        tint.drawImage(0, 0, mask);
    }
    shadow.setDevicePixelRatio(scale);
    painter.drawImage(QPointF(0, 0), shadow);
}

} // namespace

AppIconView::AppIconView(qreal size, QWidget* parent) : QWidget(parent), m_size(size) {
    setIconSize(size);
}

void AppIconView::setIconSize(qreal size) {
    m_size = size;
    const int side = static_cast<int>(std::ceil(size));
    setFixedSize(side, side);
    update();
}

void AppIconView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paint(painter, m_size);
}

void AppIconView::paint(QPainter& painter, qreal s) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    paintShadow(painter, s);

    const auto tile = tileShape(s);
    QLinearGradient gradient(QPointF(0, 0), QPointF(s, s));
    gradient.setColorAt(0, QColor::fromRgbF(0.04f, 0.20f, 0.34f));
    gradient.setColorAt(1, QColor::fromRgbF(0.02f, 0.43f, 0.55f));
    painter.fillPath(tile, gradient);

    // Inset by half the line, so that the frame's edge does not cut the outline in two.
    const qreal outline = std::max(0.025 * s, 1.0);
    const qreal half = outline / 2;
    painter.setPen(
        QPen(QColor::fromRgbF(1, 1, 1, 0.18f), outline, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(half, half, s - outline, s - outline), 0.22 * s - half,
                            0.22 * s - half);

    QRectF glyph(0, 0, 0.58 * s, 0.34 * s);
    glyph.moveCenter(QPointF(s / 2, s / 2));
    painter.setPen(QPen(QColor::fromRgbF(0.82f, 1.0f, 0.96f), 0.095 * s, Qt::SolidLine,
                        Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(ForwarderGlyph::path(glyph));

    QRectF dot(0, 0, 0.16 * s, 0.16 * s);
    dot.moveCenter(QPointF(s / 2 + 0.25 * s, s / 2));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0.56f, 0.97f, 0.64f));
    painter.drawEllipse(dot);
    painter.restore();
}

} // namespace velquor

#include "VelquorApp/AppIconView/AppRuntimeIcon.h"

#include "VelquorApp/AppIconView/AppIconView.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QPainter>
#include <QPixmap>

#include <cmath>

namespace velquor {

QImage AppRuntimeIcon::render(qreal size, qreal scale) {
    const int pixels = static_cast<int>(std::lround(size * scale));
    if (pixels <= 0) {
        return {};
    }
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        return {};
    }
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    AppIconView::paint(painter, size);
    return image;
}

bool AppRuntimeIcon::install() {
    if (!QGuiApplication::windowIcon().isNull()) {
        return false;
    }
    const auto image = render();
    if (image.isNull()) {
        return false;
    }
    QGuiApplication::setWindowIcon(QIcon(QPixmap::fromImage(image)));
    return true;
}

bool AppRuntimeIcon::writePng(const QString& path, qreal size, qreal scale) {
    const auto image = render(size, scale);
    if (image.isNull() || !QDir().mkpath(QFileInfo(path).absolutePath())) {
        return false;
    }
    return image.save(path, "PNG");
}

} // namespace velquor

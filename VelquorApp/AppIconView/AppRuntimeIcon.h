#pragma once

#include <QImage>
#include <QString>

namespace velquor {

// The application icon as an image: set as the application's window icon at start-up, and
// written as a PNG by the install step.
class AppRuntimeIcon {
public:
    static constexpr qreal iconSize = 512;
    static constexpr qreal renderScale = 2.0;

    // size × scale pixels, with size × size logical points.
    static QImage render(qreal size = iconSize, qreal scale = renderScale);
    // Sets the rendered icon as the application's window icon unless one is set already.
    // True when it set it.
    static bool install();
    // Creates the folders on the way. False when the image could not be written.
    static bool writePng(const QString& path, qreal size = iconSize, qreal scale = renderScale);
};

} // namespace velquor

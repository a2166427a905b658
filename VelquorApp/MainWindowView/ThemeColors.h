#pragma once

#include "core/service/ServiceStatus.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

namespace velquor {

// The colours of the windows: the status colours and the greys and surfaces taken from the
// palette, so that a dark palette carries through.
class ThemeColors {
public:
    static QColor secondaryColor(const QPalette& palette = QGuiApplication::palette());
    static QColor statusColor(ServiceStatus status,
                              const QPalette& palette = QGuiApplication::palette());
    static QColor orange();
    static QColor red();
    static QColor green();
    static QColor withOpacity(QColor color, qreal opacity);
    // Translucent surfaces laid over the window background.
    static QColor regularMaterial(const QPalette& palette = QGuiApplication::palette());
    static QColor thinMaterial(const QPalette& palette = QGuiApplication::palette());
};

} // namespace velquor

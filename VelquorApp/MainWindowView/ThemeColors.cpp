#include "VelquorApp/MainWindowView/ThemeColors.h"

namespace velquor {

QColor ThemeColors::secondaryColor(const QPalette& palette) {
    // Made opaque over the window, so that tints derived from it stay grey on any surface.
    const auto text = palette.color(QPalette::Active, QPalette::PlaceholderText);
    const auto window = palette.color(QPalette::Active, QPalette::Window);
    const auto alpha = text.alphaF();
    return QColor::fromRgbF(text.redF() * alpha + window.redF() * (1 - alpha),
                            text.greenF() * alpha + window.greenF() * (1 - alpha),
                            text.blueF() * alpha + window.blueF() * (1 - alpha));
}

QColor ThemeColors::orange() {
    return QColor::fromRgbF(1.0f, 0.584f, 0.0f);
}

QColor ThemeColors::red() {
    return QColor::fromRgbF(1.0f, 0.231f, 0.188f);
}

QColor ThemeColors::green() {
    return QColor::fromRgbF(0.08f, 0.52f, 0.24f);
}

QColor ThemeColors::statusColor(ServiceStatus status, const QPalette& palette) {
    switch (status) {
    case ServiceStatus::starting:
    case ServiceStatus::checking:
        return orange();
    case ServiceStatus::running:
        return green();
    case ServiceStatus::failed:
        return red();
    case ServiceStatus::stopped:
    case ServiceStatus::stopping:
        break;
    }
    return secondaryColor(palette);
}

QColor ThemeColors::withOpacity(QColor color, qreal opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

QColor ThemeColors::regularMaterial(const QPalette& palette) {
    return withOpacity(palette.color(QPalette::Active, QPalette::Base), 0.72);
}

QColor ThemeColors::thinMaterial(const QPalette& palette) {
    return withOpacity(palette.color(QPalette::Active, QPalette::Base), 0.5);
}

} // namespace velquor

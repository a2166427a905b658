#pragma once

#include "VelquorApp/AppViewModel/AppSection.h"
#include "core/config/ForwarderConfig.h"
#include "core/service/ServiceStatus.h"

#include <QColor>
#include <QFont>
#include <QGuiApplication>
#include <QPalette>
#include <QString>

class QAbstractButton;
class QLabel;
class QWidget;

namespace velquor {

// The one place for how the windows look and word things: text styles, colours, the status
// tables of every view, and the small text rules the pages share. Views ask here instead of
// repeating a table, because the same status is worded differently in different views.
class Theme {
public:
    enum class TextStyle { largeTitle, title2, title3, headline, body, callout, caption, caption2 };

    // --- text ---

    // Derived from the application font, so a user's font size carries through every style.
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

    // Values that hold a ":" (addresses, URLs) are shown fixed-pitch.
    static bool isMonospacedValue(const QString& value);
    // Status values also when they carry a "PID".
    static bool isMonospacedStatusValue(const QString& value);
    // The forwarding process as the user sees it: the forwarder is not called socat.
    static QString forwardingProcessText(const QString& socatRuntimeText);
    static QString listenAddressText(const ForwarderConfig& config);

    // --- colours ---

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

    // --- status tables, one per view ---

    static QString sidebarWord(ServiceStatus status);
    // The tray's label text and the status line of its menu.
    static QString menuWord(ServiceStatus status);
    static QString trayIconSymbol(ServiceStatus status);
    // Badge symbol of the status page hero and the settings status panel.
    static QString statusSymbol(ServiceStatus status);
    static QString heroTitle(ServiceStatus status);
    static QString heroExplanation(ServiceStatus status);
    static QString settingsTitle(ServiceStatus status);
    static QString settingsBadge(ServiceStatus status);
    static QString settingsExplanation(ServiceStatus status);

    static QString sectionSymbol(AppSection section);

    // --- widgets ---

    static void setTextColor(QWidget& widget, const QColor& color);
    // The grey from the widget's own palette. In a container's palette-change handler use
    // setTextColor with the container's grey instead: the children's palettes may not have
    // followed the change yet.
    static void setSecondaryText(QWidget& widget);
    // The filled accent button of a page's main action.
    static void makeProminent(QAbstractButton& button);
    // The taller button of the actions a page is mostly used for.
    static void makeLarge(QAbstractButton& button);
};

} // namespace velquor

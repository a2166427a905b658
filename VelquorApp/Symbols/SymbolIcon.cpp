#include "VelquorApp/Symbols/SymbolIcon.h"

#include "VelquorApp/Symbols/SymbolIconEngine.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QSet>
#include <QStandardPaths>
#include <QtDebug>

#include <array>
#include <utility>

namespace velquor {

namespace {

struct Entry {
    const char* symbol;
    const char* ligature;
};

// Where a glyph's drawing differs from the symbol's (filled or outlined), the meaning decided.
constexpr std::array table = {
    // service states: tray label, hero and settings badges
    Entry{"circle", "radio_button_unchecked"},
    Entry{"arrow.triangle.2.circlepath.circle.fill", "change_circle"},
    Entry{"arrow.left.arrow.right.circle.fill", "swap_horizontal_circle"},
    Entry{"exclamationmark.triangle.fill", "warning"},
    Entry{"pause.circle.fill", "pause_circle"},
    Entry{"arrow.up.circle.fill", "arrow_circle_up"},
    Entry{"checkmark.circle.fill", "check_circle"},
    Entry{"stop.circle.fill", "stop_circle"},
    // sidebar
    Entry{"circle.grid.2x2", "grid_view"},
    Entry{"gearshape", "settings"},
    Entry{"doc.text", "description"},
    Entry{"power", "power_settings_new"},
    // logs page
    Entry{"doc.on.doc", "content_copy"},
    Entry{"folder", "folder"},
    Entry{"arrow.clockwise", "refresh"},
    Entry{"trash", "delete"},
    // tray menu
    Entry{"macwindow", "web_asset"},
    Entry{"play.fill", "play_arrow"},
    Entry{"stop.fill", "stop"},
    Entry{"checkmark.shield", "verified_user"},
    // status page tiles
    Entry{"network", "lan"},
    Entry{"arrow.forward.circle", "arrow_circle_right"},
    Entry{"terminal", "terminal"},
    Entry{"clock", "schedule"},
};

const char* const fontFile =
    "fonts/truetype/material-design-icons-iconfont/MaterialIcons-Regular.ttf";
const char* const installedFamily = "Material Icons";

QString loadFontFamily() {
    auto path =
        QStandardPaths::locate(QStandardPaths::GenericDataLocation, QString::fromLatin1(fontFile));
    if (path.isEmpty()) {
        path = QStringLiteral("/usr/share/") + QString::fromLatin1(fontFile);
    }
    const int id = QFontDatabase::addApplicationFont(path);
    if (const auto families = QFontDatabase::applicationFontFamilies(id); !families.isEmpty()) {
        return families.first();
    }
    if (QFontDatabase::hasFamily(QString::fromLatin1(installedFamily))) {
        return QString::fromLatin1(installedFamily);
    }
    qWarning("Symbols cannot be drawn: the Material Icons font (%s) could not be loaded",
             qPrintable(path));
    return {};
}

} // namespace

QStringList SymbolIcon::symbols() {
    QStringList result;
    for (const auto& entry : table) {
        result.append(QString::fromLatin1(entry.symbol));
    }
    return result;
}

QString SymbolIcon::ligature(const QString& symbol) {
    for (const auto& entry : table) {
        if (symbol == QLatin1String(entry.symbol)) {
            return QString::fromLatin1(entry.ligature);
        }
    }
    return {};
}

QString SymbolIcon::fontFamily() {
    static const QString family = loadFontFamily();
    return family;
}

QFont SymbolIcon::font(int pixelSize) {
    QFont font(fontFamily());
    font.setPixelSize(std::max(pixelSize, 1));
    font.setStyleStrategy(QFont::StyleStrategy(QFont::NoFontMerging | QFont::PreferAntialias));
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

void SymbolIcon::paint(QPainter& painter, const QRectF& rect, const QString& symbol,
                       const QColor& color) {
    const auto name = ligature(symbol);
    if (name.isEmpty()) {
        // Once per identifier: a view repaints often, and the log is the user's too.
        static QSet<QString> reported;
        if (!reported.contains(symbol)) {
            reported.insert(symbol);
            qWarning("No glyph for the symbol \"%s\"", qPrintable(symbol));
        }
        return;
    }
    const auto side = std::min(rect.width(), rect.height());
    if (side < 1) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setFont(font(static_cast<int>(side)));
    painter.setPen(color);
    painter.drawText(rect, Qt::AlignCenter, name);
    painter.restore();
}

QPixmap SymbolIcon::pixmap(const QString& symbol, const QColor& color, int size,
                           qreal devicePixelRatio) {
    const auto ratio = devicePixelRatio > 0 ? devicePixelRatio : qApp->devicePixelRatio();
    QPixmap result(QSize(size, size) * ratio);
    result.setDevicePixelRatio(ratio);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    paint(painter, QRectF(0, 0, size, size), symbol, color);
    return result;
}

QIcon SymbolIcon::icon(const QString& symbol, const QColor& color, int size) {
    return QIcon(new SymbolIconEngine(symbol, color, size));
}

void SymbolIcon::setOn(QLabel& label, const QString& symbol, const QColor& color, int size) {
    label.setPixmap(pixmap(symbol, color, size, label.devicePixelRatioF()));
    label.setFixedSize(size, size);
}

} // namespace velquor

#include "VelquorApp/MainWindowView/Theme.h"

#include <QAbstractButton>
#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QLabel>
#include <QTextLayout>
#include <QWidget>

#include <algorithm>
#include <array>

namespace velquor {

namespace {

struct StatusRow {
    ServiceStatus status;
    const char* sidebarWord;
    const char* menuWord;
    const char* trayIconSymbol;
    const char* statusSymbol;
    const char* heroTitle;
    const char* heroExplanation;
    const char* settingsTitle;
    const char* settingsBadge;
    const char* settingsExplanation;
};

constexpr std::array<StatusRow, 6> statusRows = {{
    {ServiceStatus::stopped, "关闭", "已停止", "circle", "pause.circle.fill", "已关闭",
     "本机端口没有转发服务。", "关闭", "已停止", "转发服务当前未运行，配置保存后需要手动启动。"},
    {ServiceStatus::starting, "启动中", "启动中", "arrow.triangle.2.circlepath.circle.fill",
     "arrow.up.circle.fill", "启动中", "正在建立本机监听和目标转发。", "启动中", "正在启动",
     "正在启动本地监听和转发进程。"},
    {ServiceStatus::running, "运行中", "运行中", "arrow.left.arrow.right.circle.fill",
     "checkmark.circle.fill", "运行中", "转发服务正在工作。", "运行中", "运行中",
     "转发服务正在运行，本机 iSCSI 客户端可连接本地监听地址。"},
    {ServiceStatus::stopping, "关闭中", "停止中", "circle", "stop.circle.fill", "关闭中",
     "正在关闭当前转发进程。", "关闭中", "正在停止", "正在停止当前转发进程。"},
    {ServiceStatus::failed, "异常", "异常", "exclamationmark.triangle.fill",
     "exclamationmark.triangle.fill", "异常", "转发服务需要处理错误后再运行。", "异常", "异常",
     "转发服务出现异常，请查看最近错误或运行日志。"},
    {ServiceStatus::checking, "检查中", "检查中", "arrow.triangle.2.circlepath.circle.fill",
     "arrow.triangle.2.circlepath.circle.fill", "检查中", "正在检查目标地址和本机监听。", "检查中",
     "正在检查", "正在检查目标地址、监听端口和转发进程状态。"},
}};

constexpr bool rowsFollowTheEnum() {
    for (std::size_t i = 0; i < statusRows.size(); ++i) {
        if (static_cast<std::size_t>(statusRows[i].status) != i) {
            return false;
        }
    }
    return true;
}
static_assert(rowsFollowTheEnum(), "one row per status, in the order of ServiceStatus");

const StatusRow& row(ServiceStatus status) {
    return statusRows.at(static_cast<std::size_t>(status));
}

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// Sizes of the original design, in points, where body text is 13.
constexpr qreal designBodyPoints = 13.0;

qreal designPoints(Theme::TextStyle style) {
    switch (style) {
    case Theme::TextStyle::largeTitle:
        return 26;
    case Theme::TextStyle::title2:
        return 17;
    case Theme::TextStyle::title3:
        return 15;
    case Theme::TextStyle::headline:
    case Theme::TextStyle::body:
        return 13;
    case Theme::TextStyle::callout:
        return 12;
    // Smaller than this, Chinese characters become hard to read at common screen densities.
    case Theme::TextStyle::caption:
        return 11;
    case Theme::TextStyle::caption2:
        return 10;
    }
    return designBodyPoints;
}

bool hasHanCharacters(const QString& family) {
    const auto systems = QFontDatabase::writingSystems(family);
    return std::any_of(systems.begin(), systems.end(), [](auto system) {
        return system == QFontDatabase::SimplifiedChinese ||
               system == QFontDatabase::TraditionalChinese || system == QFontDatabase::Japanese ||
               system == QFontDatabase::Korean;
    });
}

// The application font may leave out Han characters; without a Simplified Chinese face named
// first, the fallback may pick the Japanese variant with its different character forms.
QStringList withChineseFallback(const QString& family, bool monospaced) {
    static const QStringList candidates = {QStringLiteral("Noto Sans CJK SC"),
                                           QStringLiteral("Source Han Sans SC"),
                                           QStringLiteral("WenQuanYi Micro Hei")};
    static const QStringList monospacedCandidates = {QStringLiteral("Noto Sans Mono CJK SC"),
                                                     QStringLiteral("Noto Sans CJK SC"),
                                                     QStringLiteral("WenQuanYi Micro Hei Mono")};
    static const auto firstInstalled = [](const QStringList& families) {
        for (const auto& candidate : families) {
            if (QFontDatabase::hasFamily(candidate)) {
                return candidate;
            }
        }
        return QString();
    };
    static const QString chinese = firstInstalled(candidates);
    static const QString monospacedChinese = firstInstalled(monospacedCandidates);
    QStringList families{family};
    const auto& fallback = monospaced ? monospacedChinese : chinese;
    if (!fallback.isEmpty() && fallback != family) {
        // A face with Han characters of its own draws them in its own forms; where the desktop
        // has no Latin face, its font is the Japanese variant of the CJK face.
        if (hasHanCharacters(family)) {
            families.prepend(fallback);
        } else {
            families.append(fallback);
        }
    }
    return families;
}

// A list of families is matched name by name, so aliases such as "monospace" must first be
// resolved to the face they stand for.
QString resolvedFamily(const QFont& font) {
    return QFontInfo(font).family();
}

bool isFixedPitchLatin(const QFontInfo& face) {
    return face.fixedPitch() &&
           QFontDatabase::writingSystems(face.family()).contains(QFontDatabase::Latin);
}

// The face the font matcher prefers for a fixed-pitch request, else any fixed-pitch Latin face
// that is installed; empty when there is none.
QString fixedPitchFallback() {
    QFont request{QString()};
    request.setStyleHint(QFont::Monospace);
    request.setFixedPitch(true);
    if (const QFontInfo matched(request); isFixedPitchLatin(matched)) {
        return matched.family();
    }
    for (const auto& family : QFontDatabase::families(QFontDatabase::Latin)) {
        if (const QFontInfo installed{QFont(family)};
            QFontDatabase::isFixedPitch(family) && isFixedPitchLatin(installed)) {
            return installed.family();
        }
    }
    return {};
}

// Fontconfig's "monospace" may name a face that does not declare a fixed pitch (Noto Sans Mono
// does not, and many desktops install it), and the icon font declares one. So the desktop's
// choice is taken only when it is a fixed-pitch Latin face.
QString fixedPitchFamily() {
    const QFontInfo desktop(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    if (isFixedPitchLatin(desktop)) {
        return desktop.family();
    }
    static const QString fallback = fixedPitchFallback();
    return fallback.isEmpty() ? desktop.family() : fallback;
}

QFont sized(QFont font, qreal points) {
    const auto application = QGuiApplication::font();
    const auto factor = points / designBodyPoints;
    if (application.pointSizeF() > 0) {
        font.setPointSizeF(application.pointSizeF() * factor);
    } else {
        font.setPixelSize(qRound(application.pixelSize() * factor));
    }
    return font;
}

} // namespace

QFont Theme::font(TextStyle style) {
    return font(style, false);
}

QFont Theme::monospacedFont(TextStyle style) {
    return font(style, true);
}

QFont Theme::font(TextStyle style, bool monospaced) {
    auto base = QGuiApplication::font();
    if (monospaced) {
        base.setFamilies(withChineseFallback(fixedPitchFamily(), true));
        base.setStyleHint(QFont::Monospace);
        base.setFixedPitch(true);
    } else {
        base.setFamilies(withChineseFallback(resolvedFamily(base), false));
    }
    auto result = sized(base, designPoints(style));
    if (style == TextStyle::headline) {
        result.setWeight(QFont::DemiBold);
    }
    return result;
}

QFont Theme::systemFont(qreal points, QFont::Weight weight) {
    auto base = QGuiApplication::font();
    base.setFamilies(withChineseFallback(resolvedFamily(base), false));
    auto result = sized(base, points);
    result.setWeight(weight);
    return result;
}

int Theme::symbolPixelSize(qreal points) {
    // A glyph of the icon font fills about 5/6 of its square; the larger square makes its
    // drawing as tall as the capitals and characters of the text beside it.
    const QFontInfo body(systemFont(points));
    return qRound(body.pixelSize() * 1.2);
}

namespace {

qreal firstLineAscent(const QString& text, const QFont& font) {
    QTextLayout layout(text.isEmpty() ? QStringLiteral(" ") : text, font);
    layout.beginLayout();
    const auto line = layout.createLine();
    layout.endLayout();
    return line.isValid() ? line.ascent() : 0;
}

} // namespace

void Theme::alignFirstBaseline(QLabel& label, TextStyle style) {
    const auto sample = QStringLiteral("Ag中");
    const auto tallest = std::max(firstLineAscent(sample, font(style)),
                                  firstLineAscent(sample, monospacedFont(style)));
    const auto firstLine = label.text().section(QLatin1Char('\n'), 0, 0);
    const int padding = std::max(0, qRound(tallest - firstLineAscent(firstLine, label.font())));
    const auto margins = label.contentsMargins();
    if (margins.top() != padding) {
        label.setContentsMargins(margins.left(), padding, margins.right(), margins.bottom());
    }
}

bool Theme::isMonospacedValue(const QString& value) {
    return value.contains(QLatin1Char(':'));
}

bool Theme::isMonospacedStatusValue(const QString& value) {
    return isMonospacedValue(value) || value.contains(QStringLiteral("PID"));
}

QString Theme::forwardingProcessText(const QString& socatRuntimeText) {
    auto result = socatRuntimeText;
    result.replace(QStringLiteral("App 启动的 socat"), QStringLiteral("App 启动的转发进程"));
    result.replace(QStringLiteral("检测到已有 socat"), QStringLiteral("检测到已有转发进程"));
    return result;
}

QString Theme::listenAddressText(const ForwarderConfig& config) {
    return QString::fromStdString(config.listenHost) + QLatin1Char(':') +
           QString::number(config.listenPort);
}

QColor Theme::secondaryColor(const QPalette& palette) {
    // Made opaque over the window, so that tints derived from it stay grey on any surface.
    const auto text = palette.color(QPalette::Active, QPalette::PlaceholderText);
    const auto window = palette.color(QPalette::Active, QPalette::Window);
    const auto alpha = text.alphaF();
    return QColor::fromRgbF(text.redF() * alpha + window.redF() * (1 - alpha),
                            text.greenF() * alpha + window.greenF() * (1 - alpha),
                            text.blueF() * alpha + window.blueF() * (1 - alpha));
}

QColor Theme::orange() {
    return QColor::fromRgbF(1.0f, 0.584f, 0.0f);
}

QColor Theme::red() {
    return QColor::fromRgbF(1.0f, 0.231f, 0.188f);
}

QColor Theme::green() {
    return QColor::fromRgbF(0.08f, 0.52f, 0.24f);
}

QColor Theme::statusColor(ServiceStatus status, const QPalette& palette) {
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

QColor Theme::withOpacity(QColor color, qreal opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

QColor Theme::regularMaterial(const QPalette& palette) {
    return withOpacity(palette.color(QPalette::Active, QPalette::Base), 0.72);
}

QColor Theme::thinMaterial(const QPalette& palette) {
    return withOpacity(palette.color(QPalette::Active, QPalette::Base), 0.5);
}

QString Theme::sidebarWord(ServiceStatus status) {
    return text(row(status).sidebarWord);
}

QString Theme::menuWord(ServiceStatus status) {
    return text(row(status).menuWord);
}

QString Theme::trayIconSymbol(ServiceStatus status) {
    return text(row(status).trayIconSymbol);
}

QString Theme::statusSymbol(ServiceStatus status) {
    return text(row(status).statusSymbol);
}

QString Theme::heroTitle(ServiceStatus status) {
    return text(row(status).heroTitle);
}

QString Theme::heroExplanation(ServiceStatus status) {
    return text(row(status).heroExplanation);
}

QString Theme::settingsTitle(ServiceStatus status) {
    return text(row(status).settingsTitle);
}

QString Theme::settingsBadge(ServiceStatus status) {
    return text(row(status).settingsBadge);
}

QString Theme::settingsExplanation(ServiceStatus status) {
    return text(row(status).settingsExplanation);
}

QString Theme::sectionSymbol(AppSection section) {
    switch (section) {
    case AppSection::status:
        return QStringLiteral("circle.grid.2x2");
    case AppSection::settings:
        return QStringLiteral("gearshape");
    case AppSection::logs:
        return QStringLiteral("doc.text");
    }
    return {};
}

void Theme::setTextColor(QWidget& widget, const QColor& color) {
    auto palette = widget.palette();
    for (const auto role : {QPalette::WindowText, QPalette::Text}) {
        palette.setColor(QPalette::Active, role, color);
        palette.setColor(QPalette::Inactive, role, color);
    }
    widget.setPalette(palette);
}

void Theme::setSecondaryText(QWidget& widget) {
    setTextColor(widget, secondaryColor(widget.palette()));
}

namespace {

QString prominentStyleSheet(const QPalette& palette) {
    const auto accent = palette.color(QPalette::Active, QPalette::Highlight);
    const auto text = palette.color(QPalette::Active, QPalette::HighlightedText);
    return QStringLiteral("QAbstractButton { background-color: %1; color: %2; border: 1px solid %3;"
                          " border-radius: 5px; padding: 3px 12px; }"
                          " QAbstractButton:hover { background-color: %4; }"
                          " QAbstractButton:pressed { background-color: %3; }"
                          " QAbstractButton:focus { border-color: %5; }")
        .arg(accent.name(), text.name(), accent.darker(125).name(), accent.lighter(110).name(),
             accent.darker(170).name());
}

// Style sheets do not follow the palette by themselves; this rewrites the button's sheet when
// the palette (the accent colour of a light or dark theme) changes.
class ProminentStyleKeeper : public QObject {
public:
    explicit ProminentStyleKeeper(QAbstractButton& button) : QObject(&button) {
        apply(button);
        button.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::PaletteChange) {
            apply(static_cast<QAbstractButton&>(*watched));
        }
        return false;
    }

private:
    // Only a changed sheet is set, so the style's own palette update does not come back here
    // in a loop.
    static void apply(QAbstractButton& button) {
        const auto sheet = prominentStyleSheet(button.palette());
        if (sheet != button.styleSheet()) {
            button.setStyleSheet(sheet);
        }
    }
};

} // namespace

void Theme::makeProminent(QAbstractButton& button) {
    if (!button.findChild<ProminentStyleKeeper*>(QString(), Qt::FindDirectChildrenOnly)) {
        new ProminentStyleKeeper(button);
    }
}

void Theme::makeLarge(QAbstractButton& button) {
    // Measured from the text rather than from the style's size hint, which differs between a
    // prominent and a plain button: two large buttons with texts of one length match.
    const QFontMetrics metrics(button.font());
    const int line = metrics.height();
    button.setMinimumSize(metrics.horizontalAdvance(button.text()) + 3 * line, 2 * line + 4);
}

} // namespace velquor

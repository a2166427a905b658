#include "VelquorApp/MainWindowView/ThemeFonts.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QTextLayout>

#include <algorithm>

namespace velquor {

namespace {

// Sizes of the original design, in points, where body text is 13.
constexpr qreal designBodyPoints = 13.0;

qreal designPoints(ThemeFonts::TextStyle style) {
    switch (style) {
    case ThemeFonts::TextStyle::largeTitle:
        return 26;
    case ThemeFonts::TextStyle::title2:
        return 17;
    case ThemeFonts::TextStyle::title3:
        return 15;
    case ThemeFonts::TextStyle::headline:
    case ThemeFonts::TextStyle::body:
        return 13;
    case ThemeFonts::TextStyle::callout:
        return 12;
    // Smaller than this, Chinese characters become hard to read at common screen densities.
    case ThemeFonts::TextStyle::caption:
        return 11;
    case ThemeFonts::TextStyle::caption2:
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

QFont ThemeFonts::font(TextStyle style) {
    return font(style, false);
}

QFont ThemeFonts::monospacedFont(TextStyle style) {
    return font(style, true);
}

QFont ThemeFonts::font(TextStyle style, bool monospaced) {
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

QFont ThemeFonts::systemFont(qreal points, QFont::Weight weight) {
    auto base = QGuiApplication::font();
    base.setFamilies(withChineseFallback(resolvedFamily(base), false));
    auto result = sized(base, points);
    result.setWeight(weight);
    return result;
}

int ThemeFonts::symbolPixelSize(qreal points) {
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

void ThemeFonts::alignFirstBaseline(QLabel& label, TextStyle style) {
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

} // namespace velquor

#include "VelquorApp/Symbols/SymbolIcon.h"

#include "VelquorApp/MainWindowView/Theme.h"
#include "tests/app/AppHarness.h"
#include "tests/app/Screenshots.h"

#include <QFontMetricsF>
#include <QPainter>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velquor {
namespace {

// Every identifier the windows, the tray and its menu show.
const QStringList usedSymbols =
    QStringLiteral(
        "circle arrow.triangle.2.circlepath.circle.fill "
        "arrow.left.arrow.right.circle.fill exclamationmark.triangle.fill "
        "circle.grid.2x2 gearshape doc.text power pause.circle.fill arrow.up.circle.fill "
        "checkmark.circle.fill stop.circle.fill doc.on.doc folder arrow.clockwise trash "
        "macwindow play.fill stop.fill checkmark.shield network arrow.forward.circle "
        "terminal clock")
        .split(QLatin1Char(' '));

struct Coverage {
    int opaque = 0;
    QRect bounds;
};

Coverage coverage(const QImage& image) {
    Coverage result;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 128) {
                ++result.opaque;
                result.bounds |= QRect(x, y, 1, 1);
            }
        }
    }
    return result;
}

TEST(SymbolIcon, EveryIdentifierInUseHasAGlyph) {
    auto symbols = usedSymbols;
    for (const auto status : test::allServiceStatuses) {
        symbols << Theme::trayIconSymbol(status) << Theme::statusSymbol(status);
    }
    for (const auto section : allAppSections) {
        symbols << Theme::sectionSymbol(section);
    }
    for (const auto& symbol : symbols) {
        EXPECT_FALSE(SymbolIcon::ligature(symbol).isEmpty()) << symbol.toStdString();
    }
    EXPECT_TRUE(SymbolIcon::ligature(QStringLiteral("checkmark.circle")).isEmpty());
    EXPECT_EQ(SymbolIcon::symbols().removeDuplicates(), 0);
}

// A glyph name the font does not know is laid out as a row of letters, many times wider than
// the one square glyph a known name becomes.
TEST(SymbolIcon, EachEntryDrawsOneGlyphOfTheFont) {
    ASSERT_FALSE(SymbolIcon::fontFamily().isEmpty()) << "the icon font did not load";
    constexpr int size = 48;
    const QFontMetricsF metrics(SymbolIcon::font(size));
    const auto symbols = SymbolIcon::symbols();
    QImage sheet(size * 6, size * ((symbols.size() + 5) / 6), QImage::Format_ARGB32);
    sheet.fill(Qt::white);
    QPainter sheetPainter(&sheet);
    for (int i = 0; i < symbols.size(); ++i) {
        const auto& symbol = symbols[i];
        SCOPED_TRACE(symbol.toStdString());
        EXPECT_NEAR(metrics.horizontalAdvance(SymbolIcon::ligature(symbol)), size, 1.0);
        const auto image = SymbolIcon::pixmap(symbol, Qt::black, size, 1).toImage();
        const auto drawn = coverage(image);
        EXPECT_GT(drawn.opaque, size * size / 20) << "blank";
        EXPECT_GT(drawn.bounds.width(), size / 3);
        EXPECT_GT(drawn.bounds.height(), size / 3);
        sheetPainter.drawImage((i % 6) * size, (i / 6) * size, image);
    }
    sheetPainter.end();
    test::saveScreenshot(sheet, QStringLiteral("symbols.png"));
}

TEST(SymbolIcon, AGlyphIsCentredInItsSquareAndAnUnknownIdentifierDrawsNothing) {
    const auto bounds =
        coverage(SymbolIcon::pixmap(QStringLiteral("circle"), Qt::black, 64, 1).toImage()).bounds;
    ASSERT_FALSE(bounds.isEmpty());
    EXPECT_NEAR(bounds.center().x(), 31.5, 1.5);
    EXPECT_NEAR(bounds.center().y(), 31.5, 1.5);
    EXPECT_TRUE(SymbolIcon::icon(QStringLiteral("no.such.symbol"), Qt::black).isNull());
    const auto unknown = SymbolIcon::pixmap(QStringLiteral("no.such.symbol"), Qt::black, 32, 1);
    EXPECT_EQ(coverage(unknown.toImage()).opaque, 0);
}

TEST(SymbolIcon, IconsDrawInTheirColourAtEveryRequestedSize) {
    const QColor green(20, 133, 61);
    const auto icon = SymbolIcon::icon(QStringLiteral("checkmark.circle.fill"), green, 16);
    ASSERT_FALSE(icon.isNull());
    for (const int size : {16, 22, 24, 48, 64}) {
        SCOPED_TRACE(size);
        const auto image = icon.pixmap(QSize(size, size), 1.0).toImage();
        ASSERT_EQ(image.size(), QSize(size, size)) << "drawn at that size, not scaled from 16";
        const auto drawn = coverage(image);
        EXPECT_GT(drawn.bounds.width(), size * 3 / 4);
        const auto centre =
            image.pixelColor(drawn.bounds.center().x(), drawn.bounds.top() + size / 6);
        EXPECT_EQ(centre.rgb(), green.rgb());
    }
    const auto sharp = icon.pixmap(QSize(24, 24), 2.0);
    EXPECT_EQ(sharp.size(), QSize(48, 48));
    EXPECT_EQ(sharp.devicePixelRatio(), 2.0);

    const auto disabled = icon.pixmap(QSize(24, 24), 1.0, QIcon::Disabled).toImage();
    EXPECT_NE(disabled.pixelColor(12, 6).rgb(), green.rgb());
}

} // namespace
} // namespace velquor

#include "VelquorApp/Symbols/SymbolIcon.h"

#include "VelquorApp/MainWindowView/Theme.h"
#include "tests/app/Screenshots.h"
#include "tests/app/StatusLooks.h"

#include <QBitmap>
#include <QFontMetricsF>
#include <QPainter>
#include <gtest/gtest.h>

namespace velquor {
namespace {

// Every identifier the windows, the tray and its menu show, beside those named for statuses and
// sections.
const QStringList usedSymbols =
    QStringLiteral("power doc.on.doc folder arrow.clockwise trash macwindow play.fill stop.fill "
                   "checkmark.shield network arrow.forward.circle terminal clock")
        .split(QLatin1Char(' '));

// Where the image is at least half opaque.
QRect inkBounds(const QImage& image) {
    return QRegion(QBitmap::fromImage(image.createAlphaMask())).boundingRect();
}

TEST(SymbolIcon, EveryIdentifierInUseIsAnEntryAndEachEntryDrawsOneGlyphOfTheFont) {
    auto inUse = usedSymbols;
    for (const auto& look : test::statusLooks) {
        inUse << Theme::trayIconSymbol(look.status) << Theme::statusSymbol(look.status);
    }
    for (const auto section : allAppSections) {
        inUse << Theme::sectionSymbol(section);
    }
    for (const auto& symbol : inUse) {
        EXPECT_FALSE(SymbolIcon::ligature(symbol).isEmpty()) << symbol.toStdString();
    }
    EXPECT_TRUE(SymbolIcon::ligature(QStringLiteral("checkmark.circle")).isEmpty());
    EXPECT_EQ(SymbolIcon::symbols().removeDuplicates(), 0);

    // A glyph name the font does not know is laid out as a row of letters, many times wider
    // than the one square glyph a known name becomes.
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
        const auto bounds = inkBounds(image);
        EXPECT_GT(bounds.width(), size / 3);
        EXPECT_GT(bounds.height(), size / 3);
        sheetPainter.drawImage((i % 6) * size, (i / 6) * size, image);
    }
    sheetPainter.end();
    test::saveScreenshot(sheet, QStringLiteral("symbols.png"));
}

TEST(SymbolIcon, AGlyphIsCentredInItsSquareAndAnUnknownIdentifierDrawsNothing) {
    const auto bounds =
        inkBounds(SymbolIcon::pixmap(QStringLiteral("circle"), Qt::black, 64, 1).toImage());
    ASSERT_FALSE(bounds.isEmpty());
    EXPECT_NEAR(bounds.center().x(), 31.5, 1.5);
    EXPECT_NEAR(bounds.center().y(), 31.5, 1.5);
    EXPECT_TRUE(SymbolIcon::icon(QStringLiteral("no.such.symbol"), Qt::black).isNull());
    const auto unknown = SymbolIcon::pixmap(QStringLiteral("no.such.symbol"), Qt::black, 32, 1);
    EXPECT_TRUE(inkBounds(unknown.toImage()).isEmpty());
}

TEST(SymbolIcon, IconsDrawInTheirColourAtEveryRequestedSize) {
    const QColor green(20, 133, 61);
    const auto icon = SymbolIcon::icon(QStringLiteral("checkmark.circle.fill"), green, 16);
    ASSERT_FALSE(icon.isNull());
    for (const int size : {16, 22, 24, 48, 64}) {
        SCOPED_TRACE(size);
        const auto image = icon.pixmap(QSize(size, size), 1.0).toImage();
        ASSERT_EQ(image.size(), QSize(size, size)) << "drawn at that size, not scaled from 16";
        const auto bounds = inkBounds(image);
        EXPECT_GT(bounds.width(), size * 3 / 4);
        const auto centre = image.pixelColor(bounds.center().x(), bounds.top() + size / 6);
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

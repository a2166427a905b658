#include "VelquorApp/AppIconView/AppIconView.h"
#include "VelquorApp/AppIconView/AppRuntimeIcon.h"
#include "tests/app/Screenshots.h"
#include "tests/support/TemporaryDirectory.h"

#include <QGuiApplication>
#include <QIcon>
#include <QImageReader>
#include <gtest/gtest.h>

namespace velquor {
namespace {

using test::isNear;

// Points are fractions of the icon's edge.
TEST(AppRuntimeIcon, RendersTheTileGlyphAndDotAtTwiceFiveHundredTwelve) {
    const auto image = AppRuntimeIcon::render();
    ASSERT_EQ(image.size(), QSize(1024, 1024));
    EXPECT_EQ(image.devicePixelRatio(), 2.0);
    const auto at = [&](double fx, double fy) {
        return image.pixelColor(static_cast<int>(fx * 1024), static_cast<int>(fy * 1024));
    };
    EXPECT_TRUE(isNear(at(0.75, 0.5), QColor::fromRgbF(0.56f, 0.97f, 0.64f), 2)) << "dot";
    EXPECT_TRUE(isNear(at(0.62, 0.5), QColor::fromRgbF(0.82f, 1.0f, 0.96f), 2)) << "glyph's run";
    EXPECT_TRUE(isNear(at(0.25, 0.67), QColor::fromRgbF(0.82f, 1.0f, 0.96f), 2)) << "glyph's foot";
    EXPECT_TRUE(isNear(at(0.22, 0.08), QColor::fromRgbF(0.04f, 0.20f, 0.34f), 12)) << "tile";
    EXPECT_LT(at(0.01, 0.01).alpha(), 40) << "outside the rounded corner";
    EXPECT_GT(at(0.5, 0.004).alpha(), 200) << "the tile reaches the edge";
}

TEST(AppRuntimeIcon, InstallsOnlyWhereTheApplicationHasNoIconAndWritesPngsIntoNewFolders) {
    struct IconGuard {
        QIcon original = QGuiApplication::windowIcon();
        ~IconGuard() { QGuiApplication::setWindowIcon(original); }
    } guard;
    QGuiApplication::setWindowIcon(QIcon());
    EXPECT_TRUE(AppRuntimeIcon::install());
    const auto installed = QGuiApplication::windowIcon();
    ASSERT_FALSE(installed.isNull());
    EXPECT_EQ(installed.pixmap(QSize(512, 512), 2.0).size(), QSize(1024, 1024));

    EXPECT_FALSE(AppRuntimeIcon::install()) << "a second time changes nothing";
    QPixmap other(16, 16);
    other.fill(Qt::red);
    QGuiApplication::setWindowIcon(QIcon(other));
    EXPECT_FALSE(AppRuntimeIcon::install());
    EXPECT_EQ(QGuiApplication::windowIcon().pixmap(16, 16).toImage().pixelColor(8, 8),
              QColor(Qt::red));

    test::TemporaryDirectory folder;
    const auto path = QString::fromStdString((folder / "a" / "b" / "qarvex.png").string());
    ASSERT_TRUE(AppRuntimeIcon::writePng(path));
    QImageReader reader(path);
    EXPECT_EQ(reader.format(), "png");
    EXPECT_EQ(reader.size(), QSize(1024, 1024));
    ASSERT_TRUE(AppRuntimeIcon::writePng(path, 64, 1));
    EXPECT_EQ(QImageReader(path).size(), QSize(64, 64));
    EXPECT_FALSE(AppRuntimeIcon::writePng(path + QStringLiteral("/under-a-file.png")));
}

TEST(AppIconView, IsAsLargeAsItsSizeAndLooksLikeTheRuntimeIcon) {
    for (const int size : {34, 512}) {
        SCOPED_TRACE(size);
        AppIconView view(size);
        EXPECT_EQ(view.size(), QSize(size, size));
        const auto image = test::saveScreenshot(view, QStringLiteral("app-icon-%1.png").arg(size));
        const auto reference = AppRuntimeIcon::render(size, 1);
        const auto centre = QPoint(size * 3 / 4, size / 2);
        EXPECT_TRUE(isNear(image.pixelColor(centre), reference.pixelColor(centre), 2));
    }
    test::saveScreenshot(AppRuntimeIcon::render(), QStringLiteral("app-icon-runtime-1024.png"));
}

} // namespace
} // namespace velquor

#include "VelquorApp/MainWindowView/Theme.h"

#include "tests/support/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>
#include <QProcess>
#include <QRawFont>
#include <QTextLayout>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velquor {
namespace {

QString u(const char* text) {
    return QString::fromUtf8(text);
}

TEST(ThemeText, ForwardingProcessTextHidesTheWordSocat) {
    const std::pair<const char*, const char*> cases[] = {
        {"App 启动的 socat [PID=4242]", "App 启动的转发进程 [PID=4242]"},
        {"检测到已有 socat [PID=77]", "检测到已有转发进程 [PID=77]"},
        {"App 启动的 socat; App 启动的 socat", "App 启动的转发进程; App 启动的转发进程"},
        {"App 启动的 socat / 检测到已有 socat", "App 启动的转发进程 / 检测到已有转发进程"},
        {"端口被 socat 占用 [PID=9]", "端口被 socat 占用 [PID=9]"},
        {"App 启动的socat", "App 启动的socat"},
        {"", ""},
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(Theme::forwardingProcessText(u(input)), u(expected)) << input;
    }
}

TEST(ThemeText, FixedPitchFollowsColonsAndForStatusValuesAlsoPID) {
    struct Case {
        const char* value;
        bool grid;
        bool status;
    };
    const Case cases[] = {
        {"127.0.0.1:18082", true, true},
        {"http://discovery.invalid/dynamic-port", true, true},
        {"App 启动的转发进程 [PID=4242]", false, true},
        {"无", false, false},
        {"12:03:44", true, true},
        {"pid 12", false, false},
        {"", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Theme::isMonospacedValue(u(c.value)), c.grid) << c.value;
        EXPECT_EQ(Theme::isMonospacedStatusValue(u(c.value)), c.status) << c.value;
    }
}

TEST(ThemeFonts, StylesAreOrderedAndFollowTheApplicationFont) {
    using S = Theme::TextStyle;
    const auto px = [](S style) { return QFontInfo(Theme::font(style)).pixelSize(); };
    const S descending[] = {S::largeTitle, S::title2, S::title3, S::body, S::callout, S::caption2};
    for (std::size_t i = 1; i < std::size(descending); ++i) {
        EXPECT_GT(px(descending[i - 1]), px(descending[i])) << i;
    }
    EXPECT_EQ(px(S::headline), px(S::body));
    EXPECT_GE(px(S::caption), px(S::caption2));
    EXPECT_GT(Theme::font(S::headline).weight(), Theme::font(S::body).weight());

    struct FontGuard {
        QFont original = QApplication::font();
        ~FontGuard() { QApplication::setFont(original); }
    } guard;
    auto larger = guard.original;
    larger.setPointSizeF(15);
    QApplication::setFont(larger);
    EXPECT_DOUBLE_EQ(Theme::font(S::body).pointSizeF(), 15);
    EXPECT_DOUBLE_EQ(Theme::font(S::largeTitle).pointSizeF(), 30);
    EXPECT_DOUBLE_EQ(Theme::monospacedFont(S::callout).pointSizeF(), 15 * 12.0 / 13);
}

// The test below runs the font tests again where both of the desktop's faces, "sans-serif"
// and "monospace", are this variable's face.
const char* const desktopFaceVariable = "VELQUOR_TEST_DESKTOP_FACE";

void assertTheDesktopFacesOfThisRun() {
    if (const auto face = qEnvironmentVariable(desktopFaceVariable); !face.isEmpty()) {
        ASSERT_EQ(QFontInfo(QGuiApplication::font()).family(), face);
        ASSERT_EQ(QFontInfo(QFontDatabase::systemFont(QFontDatabase::FixedFont)).family(), face);
    }
}

TEST(ThemeFonts, MonospacedStylesAreFixedPitchAtTheSameSize) {
    ASSERT_NO_FATAL_FAILURE(assertTheDesktopFacesOfThisRun());
    for (const auto style : {Theme::TextStyle::body, Theme::TextStyle::callout}) {
        EXPECT_TRUE(QFontInfo(Theme::monospacedFont(style)).fixedPitch());
        EXPECT_FALSE(QFontInfo(Theme::font(style)).fixedPitch());
        EXPECT_EQ(Theme::monospacedFont(style).pointSizeF(), Theme::font(style).pointSizeF());
    }
}

// Fontconfig's faces depend on what else is installed: with Noto Sans Mono (on many desktops)
// "monospace" declares no fixed pitch, and without a Latin face such as DejaVu both
// "monospace" and "sans-serif" are the Japanese variant of the CJK face the application needs.
// The font tests run again in a process whose fontconfig is set up that way.
TEST(ThemeFonts, HoldWhereTheDesktopsFacesAreTheJapaneseCJKFace) {
    const auto face = QStringLiteral("Noto Sans CJK JP");
    ASSERT_FALSE(QFontDatabase::isFixedPitch(face));
    std::string rules;
    for (const char* family : {"monospace", "sans-serif"}) {
        rules += std::string(R"(<match target="pattern"><test name="family"><string>)") + family +
                 R"(</string></test><edit name="family" mode="prepend_first" binding="strong">)" +
                 "<string>" + face.toStdString() + "</string></edit></match>\n";
    }
    test::TemporaryDirectory folder;
    test::writeFile(folder / "fonts.conf",
                    "<?xml version=\"1.0\"?>\n<!DOCTYPE fontconfig SYSTEM \"fonts.dtd\">\n"
                    "<fontconfig><include>/etc/fonts/fonts.conf</include>\n" +
                        rules + "</fontconfig>\n");
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("FONTCONFIG_FILE"),
                       QString::fromStdString((folder / "fonts.conf").string()));
    environment.insert(QString::fromLatin1(desktopFaceVariable), face);
    QProcess run;
    run.setProcessEnvironment(environment);
    run.setProcessChannelMode(QProcess::MergedChannels);
    run.start(QCoreApplication::applicationFilePath(),
              {QStringLiteral("--gtest_filter=ThemeFonts.MonospacedStylesAreFixedPitchAtTheSameSize"
                              ":ThemeFonts.ChineseTextHasGlyphsInBothDesigns")});
    ASSERT_TRUE(run.waitForFinished(120'000));
    const auto output = run.readAll().toStdString();
    EXPECT_EQ(run.exitCode(), 0) << output;
    EXPECT_THAT(output, ::testing::HasSubstr("[  PASSED  ] 2 tests"));
}

// Shaped as a label would shape it: every character must come from a real glyph (glyph 0 is
// the empty box), and the Han characters from a Simplified Chinese face.
TEST(ThemeFonts, ChineseTextHasGlyphsInBothDesigns) {
    ASSERT_NO_FATAL_FAILURE(assertTheDesktopFacesOfThisRun());
    const auto text = QStringLiteral("状态总览 运行中 已关闭 转发进程 127.0.0.1:18082");
    for (const bool monospaced : {false, true}) {
        SCOPED_TRACE(monospaced);
        QTextLayout layout(text, Theme::font(Theme::TextStyle::body, monospaced));
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        bool sawChinese = false;
        for (const auto& run : layout.glyphRuns()) {
            const auto family = run.rawFont().familyName();
            for (const auto index : run.glyphIndexes()) {
                EXPECT_NE(index, 0u) << family.toStdString();
            }
            if (family.contains(QStringLiteral("CJK"))) {
                sawChinese = true;
                EXPECT_THAT(family.toStdString(), ::testing::EndsWith("SC"));
            }
        }
        EXPECT_TRUE(sawChinese);
    }
}

} // namespace
} // namespace velquor

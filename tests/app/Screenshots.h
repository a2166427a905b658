#pragma once

#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QWidget>
#include <gtest/gtest.h>

#include <cstdlib>

namespace velquor::test {

// Screenshots go under the build tree, beside the test binary, for a person to look at.
inline void saveScreenshot(const QImage& image, const QString& fileName) {
    const auto folder = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    const auto path = folder + QLatin1Char('/') + fileName;
    EXPECT_TRUE(image.save(path)) << path.toStdString();
}

// Blending and antialiasing move each channel of a drawn colour a little.
inline bool isNear(const QColor& actual, const QColor& expected, int tolerance = 3) {
    return std::abs(actual.red() - expected.red()) <= tolerance &&
           std::abs(actual.green() - expected.green()) <= tolerance &&
           std::abs(actual.blue() - expected.blue()) <= tolerance;
}

// Saves the widget as it is drawn now; returns the image for further checks.
inline QImage saveScreenshot(QWidget& widget, const QString& fileName) {
    auto image = widget.grab().toImage();
    saveScreenshot(image, fileName);
    return image;
}

} // namespace velquor::test

#include "tests/app/Screenshots.h"

#include <QCoreApplication>
#include <QDir>
#include <QWidget>
#include <gtest/gtest.h>

namespace velquor::test {

QString screenshotPath(const QString& fileName) {
    const auto folder = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    return folder + QLatin1Char('/') + fileName;
}

void saveScreenshot(const QImage& image, const QString& fileName) {
    const auto path = screenshotPath(fileName);
    EXPECT_TRUE(image.save(path)) << path.toStdString();
}

QImage saveScreenshot(QWidget& widget, const QString& fileName) {
    auto image = widget.grab().toImage();
    saveScreenshot(image, fileName);
    return image;
}

} // namespace velquor::test

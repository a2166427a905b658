#pragma once

#include <QImage>
#include <QString>

class QWidget;

namespace velquor::test {

// Screenshots go under the build tree, beside the test binary, for a person to look at.
QString screenshotPath(const QString& fileName);
// Saves the widget as it is drawn now; returns the image for further checks.
QImage saveScreenshot(QWidget& widget, const QString& fileName);
void saveScreenshot(const QImage& image, const QString& fileName);

} // namespace velquor::test

// Build step: writes the drawn application icon as the PNG that the desktop entry names.
#include "VelquorApp/AppIconView/AppRuntimeIcon.h"

#include <QGuiApplication>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "Usage: velquor_icon_writer OUTPUT.png SIZE\n";
        return 2;
    }
    QGuiApplication application(argc, argv);
    const QString path = QString::fromLocal8Bit(argv[1]);
    bool isNumber = false;
    const int size = QString::fromLocal8Bit(argv[2]).toInt(&isNumber);
    if (!isNumber || size <= 0 || !velquor::AppRuntimeIcon::writePng(path, size, 1.0)) {
        std::cerr << "velquor_icon_writer: cannot write " << argv[1] << "\n";
        return 1;
    }
    return 0;
}

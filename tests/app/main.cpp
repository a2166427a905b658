#include <QApplication>
#include <gmock/gmock.h>

int main(int argc, char** argv) {
    // Listing the tests runs this too, outside CTest's environment.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

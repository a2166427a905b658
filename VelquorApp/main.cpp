#include "VelquorApp/VelquorApp/SingleInstance.h"
#include "VelquorApp/VelquorApp/TerminationSignals.h"
#include "VelquorApp/VelquorApp/VelquorApp.h"
#include "core/BuildInfo.h"
#include "core/discovery/CurlHttpSession.h"
#include "core/files/InstanceLock.h"
#include "core/forwarding/PosixSocatProcessLauncher.h"
#include "core/service/DefaultController.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>

#include <cstring>
#include <exception>
#include <iostream>

namespace {

bool answeredCommandLine(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::cout << "qarvex " << velquor::buildinfo::version << "\n";
        return true;
    }
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::cout << "Usage: qarvex [--help | --version]\n\n"
                     "Keeps an iSCSI initiator connected to a moving target through a local "
                     "forwarder,\nwith a tray icon and a main window. A second qarvex shows the "
                     "running one's window.\n";
        return true;
    }
    return false;
}

// Where no one would see a dialog (tests, a headless run), the message on standard error is all.
bool hasDesktop() {
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

// qarvexd (or a qarvex whose window cannot be reached) already forwards for this user; a second
// forwarder would stop its socat on every stop and target move.
int refuseSecondForwarder(const velquor::InstanceLock& lock) {
    const std::string who =
        lock.holder() ? lock.holder()->text() : std::string("another qarvexd or qarvex");
    std::cerr << "qarvex: not starting: Qarvex already forwards for this user in " << who
              << "; run only one of qarvex and qarvexd per user (stop qarvexd first, for "
                 "example with systemctl --user stop qarvexd)\n";
    if (hasDesktop()) {
        QMessageBox::warning(
            nullptr, QStringLiteral("Qarvex"),
            QStringLiteral("转发服务已在 %1 中运行。同一用户只能运行一个 qarvex 或 qarvexd，"
                           "请先停止它（例如 systemctl --user stop qarvexd）。")
                .arg(QString::fromStdString(who)));
    }
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (answeredCommandLine(argc, argv)) {
        return 0;
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Qarvex"));
    QApplication::setApplicationVersion(QString::fromLatin1(velquor::buildinfo::version));
    // Lets the desktop match the windows to the installed qarvex.desktop.
    QApplication::setDesktopFileName(QStringLiteral("qarvex"));
    // The tray keeps the application; closing the window is not quitting.
    QApplication::setQuitOnLastWindowClosed(false);

    velquor::SingleInstance instance;
    if (!instance.claim()) {
        std::cout << "qarvex is already running; its window was asked to show.\n";
        return 0;
    }
    if (!instance.listenError().isEmpty()) {
        std::cerr << "qarvex: a second start will not find this one: "
                  << instance.listenError().toStdString() << "\n";
    }
    try {
        // Held until the process ends; the kernel drops it should the process crash.
        const auto files = velquor::FileLocations::forCurrentUser();
        const velquor::InstanceLock lock(files.configFile, files.logFile, "qarvex");
        if (!lock.isHeld()) {
            return refuseSecondForwarder(lock);
        }
        auto environment = velquor::AppEnvironment::forCurrentUser();
        const auto forwarderErrors = std::make_shared<velquor::ForwarderErrorPipe>();
        environment.forwarderErrors = forwarderErrors;
        velquor::VelquorApp app(
            velquor::DefaultController::makeDefaultController(
                files, std::make_unique<velquor::PosixSocatProcessLauncher>(forwarderErrors),
                std::make_unique<velquor::CurlHttpSession>()),
            environment);
        QObject::connect(&instance, &velquor::SingleInstance::activationRequested, &app,
                         &velquor::VelquorApp::showMainWindow);
        // Ending the session or `kill` quits as the quit command does: forwarding stops first.
        velquor::TerminationSignals termination;
        QObject::connect(&termination, &velquor::TerminationSignals::received, &app,
                         [&app] { app.viewModel().quitApplication(); });
        app.showMainWindow();
        return QApplication::exec();
    } catch (const std::exception& error) {
        std::cerr << "qarvex: " << error.what() << "\n";
        QMessageBox::critical(nullptr, QStringLiteral("Qarvex"),
                              QString::fromStdString(error.what()));
        return 1;
    }
}

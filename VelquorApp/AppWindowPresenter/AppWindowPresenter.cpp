#include "VelquorApp/AppWindowPresenter/AppWindowPresenter.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

namespace velquor {

void AppWindowPresenter::showMainWindow(QWidget* window) {
    if (window == nullptr) {
        return;
    }
    raise(window);
    QPointer<QWidget> guarded(window);
    for (const int delay : {120, 320}) {
        QTimer::singleShot(delay, window, [guarded] {
            if (guarded) {
                raise(guarded);
            }
        });
    }
}

void AppWindowPresenter::raise(QWidget* window) {
    if (window->isMinimized()) {
        window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    }
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace velquor

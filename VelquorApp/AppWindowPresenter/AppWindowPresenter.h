#pragma once

class QWidget;

namespace velquor {

// The one way any part of the application brings the main window to the front.
class AppWindowPresenter {
public:
    // Shows the window (restoring it when minimised), raises and activates it, and does so again
    // 120 ms and 320 ms later: window managers may refuse or undo a raise while the tray menu
    // that asked for it is still closing.
    static void showMainWindow(QWidget* window);

private:
    static void raise(QWidget* window);
};

} // namespace velquor

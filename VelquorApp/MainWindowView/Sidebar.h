#pragma once

#include <QWidget>

class QLabel;
class QListWidget;

namespace velquor {

class AppViewModel;

// The left column of the main window: the product header, one entry per section bound to the
// view model's selection, and a summary of the service with the quit button.
class Sidebar : public QWidget {
    Q_OBJECT

public:
    explicit Sidebar(AppViewModel& viewModel, QWidget* parent = nullptr);

    QListWidget& sectionList() const { return *m_sections; }
    QLabel& statusWordLabel() const { return *m_statusWord; }
    QLabel& statusDotLabel() const { return *m_statusDot; }
    QLabel& listenAddressLabel() const { return *m_listenAddress; }

private:
    QWidget* makeHeader();
    QWidget* makeFooter();
    void showStatus();
    void showSelection();

    AppViewModel& m_viewModel;
    QListWidget* m_sections = nullptr;
    QLabel* m_statusDot = nullptr;
    QLabel* m_statusWord = nullptr;
    QLabel* m_listenAddress = nullptr;
};

} // namespace velquor

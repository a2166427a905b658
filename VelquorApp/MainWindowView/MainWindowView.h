#pragma once

#include "VelquorApp/AppViewModel/AppSection.h"

#include <QWidget>

#include <map>

class QStackedWidget;

namespace velquor {

class AppViewModel;
class Sidebar;

// The main window "Qarvex": the sidebar and the page of the selected section. Closing it only
// hides it; the tray stays and can show it again.
class MainWindowView : public QWidget {
    Q_OBJECT

public:
    static constexpr int minimumWidth = 980;
    static constexpr int minimumHeight = 680;

    // The window takes ownership of the pages.
    MainWindowView(AppViewModel& viewModel, const std::map<AppSection, QWidget*>& pages,
                   QWidget* parent = nullptr);

    Sidebar& sidebar() const { return *m_sidebar; }
    QWidget* currentPage() const;

private:
    void showSelectedPage();

    AppViewModel& m_viewModel;
    Sidebar* m_sidebar = nullptr;
    QStackedWidget* m_pages = nullptr;
    std::map<AppSection, QWidget*> m_pageBySection;
};

} // namespace velquor

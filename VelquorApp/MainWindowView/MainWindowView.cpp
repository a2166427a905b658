#include "VelquorApp/MainWindowView/MainWindowView.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/Sidebar.h"

#include <QHBoxLayout>
#include <QScrollArea>
#include <QStackedWidget>

namespace velquor {

MainWindowView::MainWindowView(AppViewModel& viewModel, const std::map<AppSection, QWidget*>& pages,
                               QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel) {
    setWindowTitle(QStringLiteral("Qarvex"));
    setObjectName(QStringLiteral("main"));
    setMinimumSize(minimumWidth, minimumHeight);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_sidebar = new Sidebar(viewModel, this);
    m_sidebar->setFixedWidth(230);
    m_sidebar->setAutoFillBackground(true);
    m_sidebar->setBackgroundRole(QPalette::Base);
    layout->addWidget(m_sidebar);

    m_pages = new QStackedWidget(this);
    m_pages->setAutoFillBackground(true);
    m_pages->setBackgroundRole(QPalette::Window);
    for (const auto& [section, page] : pages) {
        // Long pages scroll instead of growing the window past the screen.
        auto* scroll = new QScrollArea(m_pages);
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setWidgetResizable(true);
        page->setContentsMargins(24, 24, 24, 24);
        scroll->setWidget(page);
        m_pages->addWidget(scroll);
        m_pageBySection[section] = scroll;
    }
    layout->addWidget(m_pages, 1);

    connect(&m_viewModel, &AppViewModel::selectedSectionChanged, this,
            &MainWindowView::showSelectedPage);
    showSelectedPage();
}

QWidget* MainWindowView::currentPage() const {
    auto* scroll = qobject_cast<QScrollArea*>(m_pages->currentWidget());
    return scroll ? scroll->widget() : nullptr;
}

void MainWindowView::showSelectedPage() {
    if (const auto it = m_pageBySection.find(m_viewModel.selectedSection());
        it != m_pageBySection.end()) {
        m_pages->setCurrentWidget(it->second);
    }
}

} // namespace velquor

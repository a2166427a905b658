#pragma once

#include <QString>
#include <QWidget>

namespace velquor {

class AppViewModel;
class DetailGrid;
class PageHeader;
class RoundedPanel;
class StatusHeroPanel;
class StatusQuickGrid;

// The first page of the main window: whether forwarding works, at a glance, and the four
// service commands. It keeps no state of its own and re-reads the view model on every change
// the view model announces.
class StatusPage : public QWidget {
    Q_OBJECT

public:
    explicit StatusPage(AppViewModel& viewModel, QWidget* parent = nullptr);

    // host:port of the current target, or "尚未解析" while there is none.
    QString targetText() const;

    PageHeader& header() const { return *m_header; }
    StatusHeroPanel& hero() const { return *m_hero; }
    StatusQuickGrid& quickGrid() const { return *m_quickGrid; }
    DetailGrid& details() const { return *m_details; }

    void refresh();

protected:
    void changeEvent(QEvent* event) override;

private:
    AppViewModel& m_viewModel;
    PageHeader* m_header;
    StatusHeroPanel* m_hero;
    StatusQuickGrid* m_quickGrid;
    RoundedPanel* m_detailsPanel;
    DetailGrid* m_details;
};

} // namespace velquor

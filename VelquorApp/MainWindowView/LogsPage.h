#pragma once

#include <QWidget>

class QPlainTextEdit;
class QPushButton;

namespace velquor {

class AppViewModel;
class PageHeader;
class RoundedPanel;

// The logs page: the view model's preview of the service log, newest line first, in a
// selectable fixed-pitch text area, and the four log commands.
class LogsPage : public QWidget {
    Q_OBJECT

public:
    explicit LogsPage(AppViewModel& viewModel, QWidget* parent = nullptr);

    PageHeader& header() const { return *m_header; }
    QPushButton& copyButton() const { return *m_copy; }
    QPushButton& openFolderButton() const { return *m_openFolder; }
    QPushButton& refreshButton() const { return *m_refresh; }
    QPushButton& clearButton() const { return *m_clear; }
    QPlainTextEdit& logArea() const { return *m_logArea; }
    RoundedPanel& logPanel() const { return *m_logPanel; }

    static constexpr int textInset = 14;

protected:
    void changeEvent(QEvent* event) override;

private:
    QPushButton* makeButton(const QString& text, const QString& symbol);
    void openFolder();
    void showPreview();
    // Replaces the shown text by the new preview while the reader keeps their place in it.
    bool continueShownText(const QString& shown, const QString& next);
    void applyStyle();

    AppViewModel& m_viewModel;
    PageHeader* m_header;
    QPushButton* m_copy;
    QPushButton* m_openFolder;
    QPushButton* m_refresh;
    QPushButton* m_clear;
    RoundedPanel* m_logPanel;
    QPlainTextEdit* m_logArea;
};

} // namespace velquor

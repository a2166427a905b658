#pragma once

#include <QString>
#include <QWidget>

class QLabel;

namespace velquor {

// The first element of every page: its title and one line saying what the page is for.
class PageHeader : public QWidget {
    Q_OBJECT

public:
    PageHeader(const QString& title, const QString& subtitle, QWidget* parent = nullptr);

    QString title() const;
    QString subtitle() const;
    void setTitle(const QString& title);
    void setSubtitle(const QString& subtitle);

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyStyle();

    QLabel* m_title;
    QLabel* m_subtitle;
};

} // namespace velquor

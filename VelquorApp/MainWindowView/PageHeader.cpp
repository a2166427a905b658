#include "VelquorApp/MainWindowView/PageHeader.h"

#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

namespace velquor {

PageHeader::PageHeader(const QString& title, const QString& subtitle, QWidget* parent)
    : QWidget(parent), m_title(new QLabel(title, this)), m_subtitle(new QLabel(subtitle, this)) {
    m_title->setObjectName(QStringLiteral("pageTitle"));
    m_subtitle->setObjectName(QStringLiteral("pageSubtitle"));
    m_subtitle->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_title);
    layout->addWidget(m_subtitle);
    applyStyle();
}

QString PageHeader::title() const {
    return m_title->text();
}

QString PageHeader::subtitle() const {
    return m_subtitle->text();
}

void PageHeader::setTitle(const QString& title) {
    m_title->setText(title);
}

void PageHeader::setSubtitle(const QString& subtitle) {
    m_subtitle->setText(subtitle);
}

void PageHeader::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

void PageHeader::applyStyle() {
    auto title = Theme::font(Theme::TextStyle::largeTitle);
    title.setBold(true);
    m_title->setFont(title);
    m_subtitle->setFont(Theme::font(Theme::TextStyle::body));
    // The header's own palette: a child's may not have followed a palette change yet.
    Theme::setTextColor(*m_subtitle, Theme::secondaryColor(palette()));
}

} // namespace velquor

#include "VelquorApp/MainWindowView/StatusMetric.h"

#include "VelquorApp/MainWindowView/LineLimitedLabel.h"
#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QFontInfo>
#include <QLabel>
#include <QVBoxLayout>

namespace velquor {

StatusMetric::StatusMetric(const QString& title, const QString& value, QWidget* parent)
    : QWidget(parent), m_title(new QLabel(title, this)),
      m_value(new LineLimitedLabel(maximumValueLines, this)) {
    m_title->setObjectName(QStringLiteral("metricTitle"));
    m_value->setObjectName(QStringLiteral("metricValue"));
    m_value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // The metrics of a row share its width equally, whatever their texts.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_title);
    layout->addWidget(m_value);
    layout->addStretch(1);

    applyStyle();
    setValue(value);
}

QString StatusMetric::title() const {
    return m_title->text();
}

QString StatusMetric::value() const {
    return m_value->fullText();
}

void StatusMetric::setValue(const QString& value) {
    m_value->setFont(Theme::font(Theme::TextStyle::callout, Theme::isMonospacedStatusValue(value)));
    m_value->setFullText(value);
    Theme::alignFirstBaseline(*m_value, Theme::TextStyle::callout);
}

bool StatusMetric::isValueMonospaced() const {
    return QFontInfo(m_value->font()).fixedPitch();
}

void StatusMetric::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

void StatusMetric::applyStyle() {
    m_title->setFont(Theme::font(Theme::TextStyle::caption));
    Theme::setTextColor(*m_title, Theme::secondaryColor(palette()));
}

} // namespace velquor

#include "VelquorApp/MainWindowView/StatusTile.h"

#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velquor {

StatusTile::StatusTile(const QString& title, const QString& value, const QString& symbol,
                       QWidget* parent)
    : RoundedPanel(parent), m_titleText(title), m_symbol(symbol), m_icon(new QLabel(this)),
      m_title(new QLabel(title, this)), m_value(new QLabel(this)) {
    m_title->setObjectName(QStringLiteral("tileTitle"));
    m_value->setObjectName(QStringLiteral("tileValue"));
    m_value->setWordWrap(true);
    m_value->setTextFormat(Qt::PlainText);
    m_value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_value->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_value->setMinimumHeight(valueMinimumHeight);
    // The tiles of a row share its width equally, whatever their texts.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_value->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto* heading = new QHBoxLayout;
    heading->setContentsMargins(0, 0, 0, 0);
    heading->setSpacing(6);
    heading->addWidget(m_icon, 0, Qt::AlignVCenter);
    heading->addWidget(m_title, 1, Qt::AlignVCenter);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(8);
    layout->addLayout(heading);
    layout->addWidget(m_value);
    // A tile stretched to the height of a taller neighbour keeps its content at the top.
    layout->addStretch(1);

    applyStyle();
    setValue(value);
}

QString StatusTile::value() const {
    return m_value->text();
}

void StatusTile::setValue(const QString& value) {
    m_value->setText(value);
    m_value->setFont(Theme::font(Theme::TextStyle::callout, Theme::isMonospacedStatusValue(value)));
    Theme::alignFirstBaseline(*m_value, Theme::TextStyle::callout);
}

bool StatusTile::isValueMonospaced() const {
    return QFontInfo(m_value->font()).fixedPitch();
}

void StatusTile::changeEvent(QEvent* event) {
    RoundedPanel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

void StatusTile::applyStyle() {
    setFillColor(Theme::thinMaterial(palette()));
    const auto secondary = Theme::secondaryColor(palette());
    SymbolIcon::setOn(*m_icon, m_symbol, secondary, Theme::symbolPixelSize(13));
    m_title->setFont(Theme::font(Theme::TextStyle::caption));
    Theme::setTextColor(*m_title, secondary);
}

} // namespace velquor

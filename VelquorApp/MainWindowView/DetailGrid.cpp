#include "VelquorApp/MainWindowView/DetailGrid.h"

#include "VelquorApp/MainWindowView/Theme.h"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>

namespace velquor {

namespace {

bool sameLabels(const QList<DetailGrid::Row>& a, const QList<DetailGrid::Row>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& x, const auto& y) { return x.first == y.first; });
}

} // namespace

DetailGrid::DetailGrid(QWidget* parent) : QWidget(parent), m_grid(new QGridLayout(this)) {
    m_grid->setContentsMargins(0, 0, 0, 0);
    m_grid->setHorizontalSpacing(20);
    m_grid->setVerticalSpacing(10);
    m_grid->setColumnStretch(1, 1);
}

DetailGrid::DetailGrid(const QList<Row>& rows, QWidget* parent) : DetailGrid(parent) {
    setRows(rows);
}

void DetailGrid::setRows(const QList<Row>& rows) {
    const bool rebuildNeeded = !sameLabels(rows, m_rows);
    m_rows = rows;
    if (rebuildNeeded) {
        rebuild();
        return;
    }
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        applyValue(*m_values[i], m_rows[i].second);
    }
}

QLabel* DetailGrid::valueLabel(const QString& label) const {
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        if (m_rows[i].first == label) {
            return m_values[i];
        }
    }
    return nullptr;
}

void DetailGrid::rebuild() {
    qDeleteAll(m_labels);
    qDeleteAll(m_values);
    m_labels.clear();
    m_values.clear();
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        auto* label = new QLabel(m_rows[i].first, this);
        auto* value = new QLabel(this);
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setTextFormat(Qt::PlainText);
        const int row = static_cast<int>(i);
        m_grid->addWidget(label, row, 0, Qt::AlignLeft | Qt::AlignTop);
        // Only a vertical alignment: the value takes the column's whole width to wrap in.
        m_grid->addWidget(value, row, 1, Qt::AlignTop);
        m_labels.append(label);
        m_values.append(value);
        applyValue(*value, m_rows[i].second);
    }
    applyStyle();
}

void DetailGrid::applyValue(QLabel& label, const QString& value) {
    label.setText(value);
    label.setFont(Theme::font(Theme::TextStyle::body, Theme::isMonospacedValue(value)));
    Theme::alignFirstBaseline(label, Theme::TextStyle::body);
}

void DetailGrid::applyStyle() {
    // The grid's own palette: a child's may not have followed a palette change yet.
    const auto secondary = Theme::secondaryColor(palette());
    for (auto* label : m_labels) {
        label->setFont(Theme::font(Theme::TextStyle::body));
        Theme::setTextColor(*label, secondary);
        Theme::alignFirstBaseline(*label, Theme::TextStyle::body);
    }
}

void DetailGrid::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

} // namespace velquor

#pragma once

#include <QList>
#include <QString>
#include <QWidget>

#include <utility>

class QGridLayout;
class QLabel;

namespace velquor {

// A two-column table of labels and values. Values holding a ":" (addresses, URLs, paths with
// a scheme) are fixed-pitch so that they line up.
class DetailGrid : public QWidget {
    Q_OBJECT

public:
    using Row = std::pair<QString, QString>; // label, value; labels are unique within a grid

    explicit DetailGrid(QWidget* parent = nullptr);
    explicit DetailGrid(const QList<Row>& rows, QWidget* parent = nullptr);

    QList<Row> rows() const { return m_rows; }
    // Rows keep their widgets while the labels stay the same, so re-setting only the values
    // (on every change the view model announces) keeps a selection in a value alive.
    void setRows(const QList<Row>& rows);
    // The value's label widget of the row with that label; null when there is none.
    QLabel* valueLabel(const QString& label) const;

protected:
    void changeEvent(QEvent* event) override;

private:
    void rebuild();
    void applyValue(QLabel& label, const QString& value);
    void applyStyle();

    QGridLayout* m_grid;
    QList<Row> m_rows;
    QList<QLabel*> m_labels;
    QList<QLabel*> m_values;
};

} // namespace velquor

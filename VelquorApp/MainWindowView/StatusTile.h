#pragma once

#include "VelquorApp/MainWindowView/RoundedPanel.h"

#include <QString>

class QLabel;

namespace velquor {

// One figure of the status row: a symbol and a caption above a value. Values that are
// addresses or carry a process identifier are fixed-pitch.
class StatusTile : public RoundedPanel {
    Q_OBJECT

public:
    StatusTile(const QString& title, const QString& value, const QString& symbol,
               QWidget* parent = nullptr);

    QString title() const { return m_titleText; }
    QString symbol() const { return m_symbol; }
    QString value() const;
    void setValue(const QString& value);
    bool isValueMonospaced() const;

    // Tiles with one-line and two-line values keep their titles level.
    static constexpr int valueMinimumHeight = 34;

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyStyle();

    QString m_titleText;
    QString m_symbol;
    QLabel* m_icon;
    QLabel* m_title;
    QLabel* m_value;
};

} // namespace velquor

#pragma once

#include <QString>
#include <QWidget>

class QLabel;

namespace velquor {

class LineLimitedLabel;

// One figure under the settings status panel: a caption above a value of at most two lines.
// Values that are addresses or name a process identifier are fixed-pitch.
class StatusMetric : public QWidget {
    Q_OBJECT

public:
    StatusMetric(const QString& title, const QString& value, QWidget* parent = nullptr);

    QString title() const;
    QString value() const;
    void setValue(const QString& value);
    bool isValueMonospaced() const;
    LineLimitedLabel& valueLabel() const { return *m_value; }

    static constexpr int maximumValueLines = 2;

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyStyle();

    QLabel* m_title;
    LineLimitedLabel* m_value;
};

} // namespace velquor

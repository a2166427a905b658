#pragma once

#include <QColor>
#include <QLabel>

namespace velquor {

// A short text on a filled capsule, as status badges are drawn.
class CapsuleLabel : public QLabel {
    Q_OBJECT

public:
    explicit CapsuleLabel(QWidget* parent = nullptr);

    QColor capsuleColor() const { return m_capsule; }
    void setCapsuleColor(const QColor& color);

    static constexpr int horizontalInset = 8;
    static constexpr int verticalInset = 4;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_capsule;
};

} // namespace velquor

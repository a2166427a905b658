#pragma once

#include <QAbstractButton>

namespace velquor {

// An on/off switch: a capsule track, filled with the accent colour when on, and a round knob
// that sits at the end of the state it shows. Checkable, so it is clicked and toggled as any
// check box is.
class ToggleSwitch : public QAbstractButton {
    Q_OBJECT

public:
    explicit ToggleSwitch(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velquor

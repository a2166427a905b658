#pragma once

#include <QLabel>
#include <QString>

namespace velquor {

// A label whose text wraps to at most a given number of lines; what does not fit ends in an
// ellipsis, and the whole text is then its tool tip. The lines are broken here, not by the
// label, because the label's own wrapping cannot break a long word such as a URL.
class LineLimitedLabel : public QLabel {
    Q_OBJECT

public:
    explicit LineLimitedLabel(int maximumLines, QWidget* parent = nullptr);

    QString fullText() const { return m_fullText; }
    void setFullText(const QString& text);
    bool isElided() const { return m_elided; }

    // The height follows from the width (the lines the text takes there), so that a layout
    // can size the label before it is shown at that width.
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void showLines();
    // The lines the text takes at the given width, at most maximumLines, the last one elided
    // when more would follow.
    QStringList linesFor(int width, bool& elided) const;
    int heightOf(const QString& shown) const;

    int m_maximumLines;
    QString m_fullText;
    bool m_elided = false;
};

} // namespace velquor

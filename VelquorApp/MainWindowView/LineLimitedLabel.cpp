#include "VelquorApp/MainWindowView/LineLimitedLabel.h"

#include <QEvent>
#include <QTextLayout>

#include <algorithm>

namespace velquor {

namespace {

QString withoutTrailingSpace(QString text) {
    while (!text.isEmpty() && (text.back().isSpace() || text.back() == QChar::LineSeparator)) {
        text.chop(1);
    }
    return text;
}

} // namespace

LineLimitedLabel::LineLimitedLabel(int maximumLines, QWidget* parent)
    : QLabel(parent), m_maximumLines(std::max(1, maximumLines)) {
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // Its width comes from the layout and its lines from that width, never the other way round.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void LineLimitedLabel::setFullText(const QString& text) {
    if (text != m_fullText) {
        m_fullText = text;
        showLines();
    }
}

QStringList LineLimitedLabel::linesFor(int width, bool& elided) const {
    elided = false;
    if (m_fullText.isEmpty() || width <= 0) {
        return {m_fullText};
    }
    auto laidOut = m_fullText;
    laidOut.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QTextLayout layout(laidOut, font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QList<QTextLine> textLines;
    while (textLines.size() <= m_maximumLines) {
        auto line = layout.createLine();
        if (!line.isValid()) {
            break;
        }
        line.setLineWidth(width);
        textLines.append(line);
    }
    layout.endLayout();

    QStringList lines;
    const auto kept = std::min<qsizetype>(textLines.size(), m_maximumLines);
    for (qsizetype i = 0; i + 1 < kept; ++i) {
        lines.append(
            withoutTrailingSpace(laidOut.mid(textLines[i].textStart(), textLines[i].textLength())));
    }
    if (textLines.size() <= m_maximumLines) {
        lines.append(withoutTrailingSpace(laidOut.mid(textLines.back().textStart())));
        return lines;
    }
    // The last line takes the rest, joined up; only when that is too wide does it end in "…".
    auto rest = laidOut.mid(textLines[kept - 1].textStart());
    rest.replace(QChar::LineSeparator, QLatin1Char(' '));
    const auto metrics = fontMetrics();
    elided = metrics.horizontalAdvance(rest) > width;
    lines.append(elided ? metrics.elidedText(rest, Qt::ElideRight, width) : rest);
    return lines;
}

int LineLimitedLabel::heightForWidth(int width) const {
    const auto margins = contentsMargins();
    bool elided = false;
    const auto lines = linesFor(width - margins.left() - margins.right(), elided);
    return heightOf(lines.join(QLatin1Char('\n'))) + margins.top() + margins.bottom();
}

QSize LineLimitedLabel::sizeHint() const {
    const auto height = heightForWidth(width() > 0 ? width() : QLabel::sizeHint().width());
    return {QLabel::sizeHint().width(), height};
}

QSize LineLimitedLabel::minimumSizeHint() const {
    const auto margins = contentsMargins();
    return {margins.left() + margins.right(), sizeHint().height()};
}

int LineLimitedLabel::heightOf(const QString& shown) const {
    // As the label draws it: with the fallback fonts that Chinese text needs, whose lines stand
    // taller than those of the label's own font.
    return fontMetrics()
        .boundingRect(QRect(0, 0, QWIDGETSIZE_MAX, QWIDGETSIZE_MAX), Qt::AlignLeft | Qt::AlignTop,
                      shown.isEmpty() ? QStringLiteral(" ") : shown)
        .height();
}

void LineLimitedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    showLines();
}

void LineLimitedLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        showLines();
    }
}

void LineLimitedLabel::showLines() {
    const auto lines = linesFor(contentsRect().width(), m_elided);
    setToolTip(m_elided ? m_fullText : QString());
    const auto shown = lines.join(QLatin1Char('\n'));
    if (text() != shown) {
        setText(shown);
    }
}

} // namespace velquor

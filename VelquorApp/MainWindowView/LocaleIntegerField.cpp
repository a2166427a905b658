#include "VelquorApp/MainWindowView/LocaleIntegerField.h"

#include <QLocale>

namespace velquor {

LocaleIntegerField::LocaleIntegerField(QWidget* parent) : QLineEdit(parent) {
    setText(format(m_value));
    connect(this, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (const auto parsed = parse(text)) {
            m_value = *parsed;
            emit valueEdited(*parsed);
        }
    });
    connect(this, &QLineEdit::editingFinished, this, &LocaleIntegerField::showValue);
}

void LocaleIntegerField::setValue(std::int64_t value) {
    if (value != m_value || !hasFocus()) {
        m_value = value;
        showValue();
    }
}

QString LocaleIntegerField::format(std::int64_t value) {
    return QLocale().toString(static_cast<qlonglong>(value));
}

std::optional<std::int64_t> LocaleIntegerField::parse(const QString& text) {
    bool ok = false;
    const auto value = QLocale().toLongLong(text.trimmed(), &ok);
    if (!ok) {
        return std::nullopt;
    }
    return value;
}

void LocaleIntegerField::showValue() {
    if (const auto shown = format(m_value); text() != shown) {
        setText(shown);
    }
}

} // namespace velquor

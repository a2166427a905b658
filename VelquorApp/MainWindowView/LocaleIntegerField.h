#pragma once

#include <QLineEdit>

#include <cstdint>
#include <optional>

namespace velquor {

// A text field for a whole number, read and written in the user's locale (digit grouping
// included). Only text that reads as a number is reported; any other text leaves the bound
// value as it was, and finishing the edit (Return, leaving the field) shows the value again.
class LocaleIntegerField : public QLineEdit {
    Q_OBJECT

public:
    explicit LocaleIntegerField(QWidget* parent = nullptr);

    std::int64_t value() const { return m_value; }
    // The bound value as it is now. While the user types, text that already reads as this
    // value is left alone, so that the field is not reformatted under the cursor.
    void setValue(std::int64_t value);

    static QString format(std::int64_t value);
    static std::optional<std::int64_t> parse(const QString& text);

signals:
    // The user typed text that reads as this number.
    void valueEdited(std::int64_t value);

private:
    void showValue();

    std::int64_t m_value = 0;
};

} // namespace velquor

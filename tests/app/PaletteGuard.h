#pragma once

#include <QApplication>
#include <QPalette>

namespace velquor::test {

// Puts the application palette back however the test ends.
class PaletteGuard {
public:
    PaletteGuard() : m_original(QApplication::palette()) {}
    ~PaletteGuard() { QApplication::setPalette(m_original); }
    PaletteGuard(const PaletteGuard&) = delete;
    PaletteGuard& operator=(const PaletteGuard&) = delete;

    // Switches the application to a dark palette, as a desktop's dark theme would.
    static QPalette switchToDark() {
        QPalette dark(QColor(53, 53, 53), QColor(42, 42, 42));
        for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
            dark.setColor(role, QColor(235, 235, 235));
        }
        dark.setColor(QPalette::Base, QColor(30, 30, 30));
        dark.setColor(QPalette::PlaceholderText, QColor(235, 235, 235, 128));
        dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
        dark.setColor(QPalette::HighlightedText, Qt::white);
        QApplication::setPalette(dark);
        return dark;
    }

private:
    QPalette m_original;
};

} // namespace velquor::test

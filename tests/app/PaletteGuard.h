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

private:
    QPalette m_original;
};

} // namespace velquor::test

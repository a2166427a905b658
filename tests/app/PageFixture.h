#pragma once

#include "tests/app/AppHarness.h"
#include "tests/app/TransientStatusController.h"

#include <QApplication>
#include <QPalette>
#include <QVBoxLayout>
#include <QWidget>
#include <gtest/gtest.h>

#include <memory>

namespace velquor::test {

// One page of the main window over a view model whose controller runs on doubles, laid out as
// the window lays it: inset by 24 points on the window background.
template <class Page> class PageFixture : public ::testing::Test {
protected:
    AppHarness m_harness;
    std::shared_ptr<TransientStatusController> m_controller =
        m_harness.makeController<TransientStatusController>();
    std::unique_ptr<QWidget> m_host;
    AppViewModel* m_model = nullptr;
    Page* m_page = nullptr;

    // Loads the view model and builds the page in a host of the given size, not yet shown.
    void build(QSize hostSize) {
        m_model = &m_harness.start(m_controller);
        m_host = std::make_unique<QWidget>();
        m_host->setAutoFillBackground(true);
        m_host->resize(hostSize);
        auto* layout = new QVBoxLayout(m_host.get());
        layout->setContentsMargins(24, 24, 24, 24);
        m_page = new Page(*m_model, m_host.get());
        layout->addWidget(m_page);
    }

    void buildShown(QSize hostSize) {
        build(hostSize);
        m_host->show();
        QCoreApplication::processEvents();
    }

    // Switches the application to a dark palette, as a desktop's dark theme would; the light one
    // is put back however the test ends.
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

    ~PageFixture() override { QApplication::setPalette(m_lightPalette); }

private:
    QPalette m_lightPalette = QApplication::palette();
};

} // namespace velquor::test

#pragma once

#include "tests/app/AppHarness.h"
#include "tests/app/TransientStatusController.h"

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
        TransientStatusController::over(m_harness);
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
};

} // namespace velquor::test

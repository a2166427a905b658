#include "VelquorApp/MainWindowView/SettingsPage.h"

#include "VelquorApp/AppViewModel/AppViewModel.h"
#include "VelquorApp/MainWindowView/LineLimitedLabel.h"
#include "VelquorApp/MainWindowView/LocaleIntegerField.h"
#include "VelquorApp/MainWindowView/PageHeader.h"
#include "VelquorApp/MainWindowView/RoundedPanel.h"
#include "VelquorApp/MainWindowView/SettingsStatusPanel.h"
#include "VelquorApp/MainWindowView/Theme.h"
#include "VelquorApp/MainWindowView/ToggleSwitch.h"
#include "VelquorApp/Symbols/SymbolIcon.h"

#include <QEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <initializer_list>

namespace velquor {

SettingsPage::SettingsPage(AppViewModel& viewModel, QWidget* parent)
    : QWidget(parent), m_viewModel(viewModel) {
    // Set before the children exist, so that they inherit it and size themselves by it.
    setFont(Theme::font(Theme::TextStyle::body));
    m_header =
        new PageHeader(QStringLiteral("转发设置"),
                       QStringLiteral("配置监听端口、动态地址接口、检查间隔和运行策略。"), this);
    m_statusPanel = new SettingsStatusPanel(viewModel, this);
    m_formPanel = new RoundedPanel(this);
    buildForm(*m_formPanel);

    m_reset = new QPushButton(QStringLiteral("恢复默认"), this);
    m_save = new QPushButton(QStringLiteral("保存设置"), this);
    Theme::makeProminent(*m_save);
    m_feedbackSymbol = new QLabel(this);
    m_feedback = new LineLimitedLabel(maximumFeedbackLines, this);
    m_feedback->setObjectName(QStringLiteral("settingsFeedback"));
    m_feedback->setFont(Theme::font(Theme::TextStyle::callout));
    connect(m_reset, &QPushButton::clicked, this, [this] { m_viewModel.resetSettings(); });
    connect(m_save, &QPushButton::clicked, this, [this] { m_viewModel.saveSettings(); });

    auto* actions = new QHBoxLayout;
    actions->addWidget(m_reset, 0, Qt::AlignVCenter);
    actions->addWidget(m_save, 0, Qt::AlignVCenter);
    auto* feedback = new QHBoxLayout;
    feedback->setSpacing(4);
    feedback->addWidget(m_feedbackSymbol, 0, Qt::AlignVCenter);
    feedback->addWidget(m_feedback, 1, Qt::AlignVCenter);
    actions->addSpacing(4);
    actions->addLayout(feedback, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(18);
    layout->addWidget(m_header);
    layout->addWidget(m_statusPanel);
    layout->addWidget(m_formPanel);
    layout->addLayout(actions);
    layout->addStretch(1);

    for (const auto signal :
         {&AppViewModel::configChanged, &AppViewModel::autoStartStatusTextChanged,
          &AppViewModel::settingsFeedbackTextChanged,
          &AppViewModel::settingsFeedbackIsErrorChanged}) {
        connect(&viewModel, signal, this, &SettingsPage::refresh);
    }
    connect(&viewModel, &AppViewModel::listenPortTextChanged, this,
            [this] { showDraftText(*m_listenPort, m_viewModel.listenPortText()); });
    connect(&viewModel, &AppViewModel::discoveryURLTextChanged, this,
            [this] { showDraftText(*m_discoveryURL, m_viewModel.discoveryURLText()); });
    m_listenPort->setText(viewModel.listenPortText());
    m_discoveryURL->setText(viewModel.discoveryURLText());
    refresh();
}

void SettingsPage::buildForm(RoundedPanel& panel) {
    m_listenHost = new QLineEdit(&panel);
    m_listenPort = new QLineEdit(&panel);
    m_discoveryURL = new QLineEdit(&panel);
    m_checkInterval = new LocaleIntegerField(&panel);
    m_failureThreshold = new LocaleIntegerField(&panel);
    m_logRetentionDays = new LocaleIntegerField(&panel);
    m_autoStart = new ToggleSwitch(&panel);
    m_autoStartStatus = new QLabel(&panel);
    m_desktopNotifications = new ToggleSwitch(&panel);
    m_desktopNotifications->setObjectName(QStringLiteral("desktopNotifications"));
    m_autoStartStatus->setObjectName(QStringLiteral("autoStartStatus"));
    m_autoStartStatus->setFont(Theme::font(Theme::TextStyle::caption));
    m_autoStartStatus->setWordWrap(true);

    // A short value in a field as wide as the form is hard to take in; only the URL needs it.
    for (auto* field : std::initializer_list<QLineEdit*>{
             m_listenHost, m_listenPort, m_checkInterval, m_failureThreshold, m_logRetentionDays}) {
        field->setMaximumWidth(shortFieldWidth);
    }
    connect(m_listenHost, &QLineEdit::textEdited, this,
            [this](const QString& text) { m_viewModel.setListenHost(text); });
    connect(m_listenPort, &QLineEdit::textEdited, this, [this](const QString& text) {
        m_viewModel.setListenPortText(text);
        m_viewModel.markSettingsEdited();
    });
    connect(m_discoveryURL, &QLineEdit::textEdited, this, [this](const QString& text) {
        m_viewModel.setDiscoveryURLText(text);
        m_viewModel.markSettingsEdited();
    });
    connect(m_discoveryURL, &QLineEdit::returnPressed, this,
            [this] { m_viewModel.saveSettings(); });
    connect(m_checkInterval, &LocaleIntegerField::valueEdited, this,
            [this](std::int64_t value) { m_viewModel.setCheckIntervalSeconds(value); });
    connect(m_failureThreshold, &LocaleIntegerField::valueEdited, this,
            [this](std::int64_t value) { m_viewModel.setFailureThreshold(value); });
    connect(m_logRetentionDays, &LocaleIntegerField::valueEdited, this,
            [this](std::int64_t value) { m_viewModel.setLogRetentionDays(value); });
    connect(m_autoStart, &ToggleSwitch::clicked, this,
            [this](bool checked) { m_viewModel.setAutoStartPreference(checked); });
    connect(m_desktopNotifications, &ToggleSwitch::clicked, this,
            [this](bool checked) { m_viewModel.setDesktopNotifications(checked); });

    auto* form = new QFormLayout(&panel);
    form->setContentsMargins(16, 14, 16, 14);
    form->setHorizontalSpacing(20);
    form->setVerticalSpacing(10);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
    form->addRow(QStringLiteral("本地监听地址"), m_listenHost);
    form->addRow(QStringLiteral("本地监听端口"), m_listenPort);
    form->addRow(QStringLiteral("动态地址接口"), m_discoveryURL);
    form->addRow(QStringLiteral("检查间隔"), m_checkInterval);
    form->addRow(QStringLiteral("失败阈值"), m_failureThreshold);
    form->addRow(QStringLiteral("日志保留天数"), m_logRetentionDays);
    auto* autoStart = new QHBoxLayout;
    autoStart->setSpacing(10);
    autoStart->addWidget(m_autoStart, 0, Qt::AlignVCenter);
    autoStart->addWidget(m_autoStartStatus, 1, Qt::AlignVCenter);
    form->addRow(QStringLiteral("开机启动"), autoStart);
    form->addRow(QStringLiteral("桌面通知"), m_desktopNotifications);
}

// A text the view model changed itself (a snapshot applied, a text normalised, defaults
// restored) is a change of the form like a typed one, so it is reported as an edit too: a
// snapshot then no longer replaces the draft the user sees. The report is posted, because the
// view model may still be inside the operation that changed the text; restoring defaults, for
// instance, clears the edited state after writing the texts.
void SettingsPage::showDraftText(QLineEdit& field, const QString& text) {
    if (field.text() == text) {
        return; // also the echo of the user's own typing: the cursor stays where it is
    }
    field.setText(text);
    if (isVisible()) {
        QMetaObject::invokeMethod(
            this, [this] { m_viewModel.markSettingsEdited(); }, Qt::QueuedConnection);
    }
}

void SettingsPage::refresh() {
    const auto& config = m_viewModel.config();
    if (const auto host = QString::fromStdString(config.listenHost); m_listenHost->text() != host) {
        m_listenHost->setText(host);
    }
    m_checkInterval->setValue(config.checkIntervalSeconds);
    m_failureThreshold->setValue(config.failureThreshold);
    m_logRetentionDays->setValue(config.logRetentionDays);
    m_autoStart->setChecked(config.autoStart);
    m_desktopNotifications->setChecked(config.desktopNotifications);
    m_autoStartStatus->setText(m_viewModel.autoStartStatusText());
    Theme::setTextColor(*m_autoStartStatus, Theme::secondaryColor(palette()));
    m_formPanel->setFillColor(Theme::regularMaterial(palette()));
    refreshFeedback();
}

void SettingsPage::refreshFeedback() {
    const bool isError = m_viewModel.settingsFeedbackIsError();
    const auto color = isError ? Theme::red() : Theme::secondaryColor(palette());
    m_feedbackSymbolName = isError ? QStringLiteral("exclamationmark.triangle.fill")
                                   : QStringLiteral("checkmark.circle.fill");
    SymbolIcon::setOn(*m_feedbackSymbol, m_feedbackSymbolName, color, Theme::symbolPixelSize(12));
    m_feedback->setFullText(m_viewModel.settingsFeedbackText());
    Theme::setTextColor(*m_feedback, color);
}

void SettingsPage::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        refresh();
    }
}

} // namespace velquor

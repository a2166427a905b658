#include "VelquorApp/MainWindowView/ThemeStatusTexts.h"

#include <array>

namespace velquor {

namespace {

struct StatusRow {
    ServiceStatus status;
    const char* sidebarWord;
    const char* menuWord;
    const char* trayIconSymbol;
    const char* statusSymbol;
    const char* heroTitle;
    const char* heroExplanation;
    const char* settingsTitle;
    const char* settingsBadge;
    const char* settingsExplanation;
};

constexpr std::array<StatusRow, 6> statusRows = {{
    {ServiceStatus::stopped, "关闭", "已停止", "circle", "pause.circle.fill", "已关闭",
     "本机端口没有转发服务。", "关闭", "已停止", "转发服务当前未运行，配置保存后需要手动启动。"},
    {ServiceStatus::starting, "启动中", "启动中", "arrow.triangle.2.circlepath.circle.fill",
     "arrow.up.circle.fill", "启动中", "正在建立本机监听和目标转发。", "启动中", "正在启动",
     "正在启动本地监听和转发进程。"},
    {ServiceStatus::running, "运行中", "运行中", "arrow.left.arrow.right.circle.fill",
     "checkmark.circle.fill", "运行中", "转发服务正在工作。", "运行中", "运行中",
     "转发服务正在运行，本机 iSCSI 客户端可连接本地监听地址。"},
    {ServiceStatus::stopping, "关闭中", "停止中", "circle", "stop.circle.fill", "关闭中",
     "正在关闭当前转发进程。", "关闭中", "正在停止", "正在停止当前转发进程。"},
    {ServiceStatus::failed, "异常", "异常", "exclamationmark.triangle.fill",
     "exclamationmark.triangle.fill", "异常", "转发服务需要处理错误后再运行。", "异常", "异常",
     "转发服务出现异常，请查看最近错误或运行日志。"},
    {ServiceStatus::checking, "检查中", "检查中", "arrow.triangle.2.circlepath.circle.fill",
     "arrow.triangle.2.circlepath.circle.fill", "检查中", "正在检查目标地址和本机监听。", "检查中",
     "正在检查", "正在检查目标地址、监听端口和转发进程状态。"},
}};

constexpr bool rowsFollowTheEnum() {
    for (std::size_t i = 0; i < statusRows.size(); ++i) {
        if (static_cast<std::size_t>(statusRows[i].status) != i) {
            return false;
        }
    }
    return true;
}
static_assert(rowsFollowTheEnum(), "one row per status, in the order of ServiceStatus");

const StatusRow& row(ServiceStatus status) {
    return statusRows.at(static_cast<std::size_t>(status));
}

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

} // namespace

QString ThemeStatusTexts::sidebarWord(ServiceStatus status) {
    return text(row(status).sidebarWord);
}

QString ThemeStatusTexts::menuWord(ServiceStatus status) {
    return text(row(status).menuWord);
}

QString ThemeStatusTexts::trayIconSymbol(ServiceStatus status) {
    return text(row(status).trayIconSymbol);
}

QString ThemeStatusTexts::statusSymbol(ServiceStatus status) {
    return text(row(status).statusSymbol);
}

QString ThemeStatusTexts::heroTitle(ServiceStatus status) {
    return text(row(status).heroTitle);
}

QString ThemeStatusTexts::heroExplanation(ServiceStatus status) {
    return text(row(status).heroExplanation);
}

QString ThemeStatusTexts::settingsTitle(ServiceStatus status) {
    return text(row(status).settingsTitle);
}

QString ThemeStatusTexts::settingsBadge(ServiceStatus status) {
    return text(row(status).settingsBadge);
}

QString ThemeStatusTexts::settingsExplanation(ServiceStatus status) {
    return text(row(status).settingsExplanation);
}

QString ThemeStatusTexts::sectionSymbol(AppSection section) {
    switch (section) {
    case AppSection::status:
        return QStringLiteral("circle.grid.2x2");
    case AppSection::settings:
        return QStringLiteral("gearshape");
    case AppSection::logs:
        return QStringLiteral("doc.text");
    }
    return {};
}

} // namespace velquor

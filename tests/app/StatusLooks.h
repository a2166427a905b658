#pragma once

#include "VelquorApp/MainWindowView/Theme.h"
#include "core/service/ServiceStatus.h"

#include <QColor>
#include <QString>
#include <gtest/gtest.h>

#include <string>

namespace velquor::test {

// How every view shows one status: the words, symbols and colour the user sees.
struct StatusLook {
    ServiceStatus status;
    QColor fixedColor;       // invalid: the palette's secondary grey
    const char* sidebarWord; // also the title of the settings status panel
    const char* menuWord;    // tray tooltip and the status line of its menu
    const char* traySymbol;
    const char* symbol; // badge of the status page hero and the settings status panel
    const char* heroTitle;
    const char* heroExplanation;
    const char* settingsBadge;
    const char* settingsExplanation;

    QColor color() const { return fixedColor.isValid() ? fixedColor : Theme::secondaryColor(); }
    static QString text(const char* utf8) { return QString::fromUtf8(utf8); }
};

inline const StatusLook statusLooks[] = {
    {ServiceStatus::stopped, QColor(), "关闭", "已停止", "circle", "pause.circle.fill", "已关闭",
     "本机端口没有转发服务。", "已停止", "转发服务当前未运行，配置保存后需要手动启动。"},
    {ServiceStatus::starting, Theme::orange(), "启动中", "启动中",
     "arrow.triangle.2.circlepath.circle.fill", "arrow.up.circle.fill", "启动中",
     "正在建立本机监听和目标转发。", "正在启动", "正在启动本地监听和转发进程。"},
    {ServiceStatus::running, QColor::fromRgbF(0.08f, 0.52f, 0.24f), "运行中", "运行中",
     "arrow.left.arrow.right.circle.fill", "checkmark.circle.fill", "运行中", "转发服务正在工作。",
     "运行中", "转发服务正在运行，本机 iSCSI 客户端可连接本地监听地址。"},
    {ServiceStatus::stopping, QColor(), "关闭中", "停止中", "circle", "stop.circle.fill", "关闭中",
     "正在关闭当前转发进程。", "正在停止", "正在停止当前转发进程。"},
    {ServiceStatus::failed, Theme::red(), "异常", "异常", "exclamationmark.triangle.fill",
     "exclamationmark.triangle.fill", "异常", "转发服务需要处理错误后再运行。", "异常",
     "转发服务出现异常，请查看最近错误或运行日志。"},
    {ServiceStatus::checking, Theme::orange(), "检查中", "检查中",
     "arrow.triangle.2.circlepath.circle.fill", "arrow.triangle.2.circlepath.circle.fill", "检查中",
     "正在检查目标地址和本机监听。", "正在检查", "正在检查目标地址、监听端口和转发进程状态。"},
};

// The status's name in the code, for test and screenshot names.
inline std::string lookName(const ::testing::TestParamInfo<StatusLook>& info) {
    return std::string(serviceStatusName(info.param.status));
}

} // namespace velquor::test

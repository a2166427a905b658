#include "VelquorApp/Notifications/DesktopNotification.h"

#include <QDateTime>
#include <QStringList>

namespace velquor {
namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QString findingsText(const HealthFindings& findings) {
    QStringList parts;
    if (findings.cachedTargetUsed) {
        parts << QStringLiteral("无法访问发现地址，正在使用缓存的目标 %1")
                     .arg(qt(findings.cachedTargetUsed->text()));
    }
    if (findings.targetRefusing) {
        parts << QStringLiteral("目标 %1 无法连接").arg(qt(findings.targetRefusing->text()));
    }
    if (findings.failedWith) {
        parts << (findings.failedWith->empty()
                      ? QStringLiteral("转发服务处于异常状态")
                      : QStringLiteral("转发服务处于异常状态：%1").arg(qt(*findings.failedWith)));
    }
    return parts.join(QStringLiteral("；"));
}

} // namespace

DesktopNotification DesktopNotification::warning(const HealthWarning& warning) {
    const auto since = QDateTime::fromSecsSinceEpoch(
        std::chrono::duration_cast<std::chrono::seconds>(warning.since.time_since_epoch()).count());
    return {Kind::warning, QStringLiteral("Qarvex 连接异常"),
            QStringLiteral("健康检查已连续失败 %1 次（自 %2 起）：%3")
                .arg(warning.failures)
                .arg(since.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                     findingsText(warning.findings))};
}

DesktopNotification DesktopNotification::recovery(std::int64_t failures) {
    return {Kind::recovery, QStringLiteral("Qarvex 已恢复"),
            QStringLiteral("健康检查已恢复正常（此前连续失败 %1 次）。").arg(failures)};
}

DesktopNotification DesktopNotification::startFailed(const QString& errorText) {
    return {Kind::startFailed, QStringLiteral("Qarvex 启动失败"),
            QStringLiteral("转发进程未能启动：%1").arg(errorText)};
}

DesktopNotification DesktopNotification::targetMoved(const TargetEndpoint& from,
                                                     const TargetEndpoint& to) {
    return {Kind::targetMoved, QStringLiteral("目标地址已变更"),
            QStringLiteral("目标已从 %1 变更为 %2，转发已切换到新地址。")
                .arg(qt(from.text()), qt(to.text()))};
}

} // namespace velquor

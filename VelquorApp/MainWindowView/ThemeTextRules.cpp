#include "VelquorApp/MainWindowView/ThemeTextRules.h"

namespace velquor {

bool ThemeTextRules::isMonospacedValue(const QString& value) {
    return value.contains(QLatin1Char(':'));
}

bool ThemeTextRules::isMonospacedStatusValue(const QString& value) {
    return isMonospacedValue(value) || value.contains(QStringLiteral("PID"));
}

QString ThemeTextRules::forwardingProcessText(const QString& socatRuntimeText) {
    auto result = socatRuntimeText;
    result.replace(QStringLiteral("App 启动的 socat"), QStringLiteral("App 启动的转发进程"));
    result.replace(QStringLiteral("检测到已有 socat"), QStringLiteral("检测到已有转发进程"));
    return result;
}

QString ThemeTextRules::listenAddressText(const ForwarderConfig& config) {
    return QString::fromStdString(config.listenHost) + QLatin1Char(':') +
           QString::number(config.listenPort);
}

} // namespace velquor

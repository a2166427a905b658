#include "VelquorApp/AppViewModel/AppSection.h"

namespace velquor {

QString appSectionRawValue(AppSection section) {
    switch (section) {
    case AppSection::status:
        return QStringLiteral("状态总览");
    case AppSection::settings:
        return QStringLiteral("转发设置");
    case AppSection::logs:
        break;
    }
    return QStringLiteral("运行日志");
}

std::optional<AppSection> appSectionFromRawValue(const QString& rawValue) {
    for (const auto section : allAppSections) {
        if (appSectionRawValue(section) == rawValue) {
            return section;
        }
    }
    return std::nullopt;
}

} // namespace velquor

#pragma once

#include "VelquorApp/AppViewModel/AppSection.h"
#include "core/service/ServiceStatus.h"

#include <QString>

namespace velquor {

// The status tables of every view: the same status is worded differently in different views.
class ThemeStatusTexts {
public:
    static QString sidebarWord(ServiceStatus status);
    // The tray's label text and the status line of its menu.
    static QString menuWord(ServiceStatus status);
    static QString trayIconSymbol(ServiceStatus status);
    // Badge symbol of the status page hero and the settings status panel.
    static QString statusSymbol(ServiceStatus status);
    static QString heroTitle(ServiceStatus status);
    static QString heroExplanation(ServiceStatus status);
    static QString settingsTitle(ServiceStatus status);
    static QString settingsBadge(ServiceStatus status);
    static QString settingsExplanation(ServiceStatus status);

    static QString sectionSymbol(AppSection section);
};

} // namespace velquor

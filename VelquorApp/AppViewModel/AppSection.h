#pragma once

#include <QString>

#include <array>
#include <optional>

namespace velquor {

// The pages of the main window, in sidebar order. The raw value is also the sidebar title.
enum class AppSection { status, settings, logs };

inline constexpr std::array<AppSection, 3> allAppSections = {
    AppSection::status, AppSection::settings, AppSection::logs};

QString appSectionRawValue(AppSection section);

// Only the exact raw values name a section.
std::optional<AppSection> appSectionFromRawValue(const QString& rawValue);

} // namespace velquor

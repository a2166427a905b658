#pragma once

#include "VelquorApp/MainWindowView/ThemeColors.h"
#include "VelquorApp/MainWindowView/ThemeFonts.h"
#include "VelquorApp/MainWindowView/ThemeStatusTexts.h"
#include "VelquorApp/MainWindowView/ThemeTextRules.h"
#include "VelquorApp/MainWindowView/ThemeWidgets.h"

namespace velquor {

// The one place for how the windows look and word things. Views ask here instead of repeating
// a table; each concern lives in its own part, and Theme:: reaches all of them.
class Theme : public ThemeFonts,
              public ThemeColors,
              public ThemeTextRules,
              public ThemeStatusTexts,
              public ThemeWidgets {};

} // namespace velquor

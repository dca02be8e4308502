#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "settings/settings.h"

namespace keldane {

/// A setting that the settings window shows, by its name. For faces that take it as text; it is
/// checked as the window's control would.
struct SettingKey {
  std::string name;
  std::string accepts;  ///< what may be put in, in plain words
  std::string meaning;
  bool windowOnly = false;  ///< without effect in the terminal
};

/// All of them, in the order of the window's tabs.
[[nodiscard]] const std::vector<SettingKey>& settingKeys();
/// The value as it may be put in again. Fails when no setting has this name.
[[nodiscard]] Result<std::string> settingValue(const Settings& settings, std::string_view name);
/// Puts the value in; `savePreferences` makes it last. Fails, with what is accepted and nothing
/// changed, when the value is not meant, or no setting has this name.
[[nodiscard]] Result<void> setSettingValue(Settings& settings, std::string_view name,
                                           const std::string& value, const std::string& homePath);

}  // namespace keldane

#pragma once

namespace keldane {

/// How the program looks: as the desktop has it, light, or dark. The values are those of the
/// setting.
enum class Look { system = 0, light = 1, dark = 2 };

/// Gives the whole application this look, at once.
void applyLook(Look look);
/// Whether texts are light on dark now.
[[nodiscard]] bool isDark();

}  // namespace keldane

#pragma once

class QFont;

namespace keldane {

struct FontSetting;

/// The font of a setting; the system's own where this machine has none of the name.
[[nodiscard]] QFont fontOf(const FontSetting& setting);
/// The same with another in place of the system's.
[[nodiscard]] QFont fontOf(const FontSetting& setting, const QFont& otherwise);

}  // namespace keldane

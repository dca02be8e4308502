#include "desktop/fonts.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>

#include "desktop/qt_text.h"
#include "settings/settings_values.h"

namespace keldane {

QFont fontOf(const FontSetting& setting) { return fontOf(setting, QApplication::font()); }

QFont fontOf(const FontSetting& setting, const QFont& otherwise) {
  const QString family = qtText(setting.name);
  if (!QFontDatabase::hasFamily(family)) return otherwise;
  QFont font(family);
  if (setting.size > 0) font.setPointSizeF(setting.size);
  return font;
}

}  // namespace keldane

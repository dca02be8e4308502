#include "desktop/category_box.h"

#include <algorithm>

#include <QComboBox>
#include <QCoreApplication>

#include "app/panels/category_menu.h"
#include "archive/tag_row.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"

namespace keldane {

void bindCategories(FormBinding& form, QComboBox& box, const char* name, CategoryMenu& menu) {
  nameControl(box, name, QCoreApplication::translate("Categories", "Known categories"));
  form.bind(
      [&box, &menu] {
        box.clear();
        for (const std::string& title : menu.titles) {
          const bool none = title == kNoCategoryTitle;
          box.addItem(none ? QCoreApplication::translate("Categories", "None")
                           : messageLine(title));
        }
        box.setCurrentIndex(static_cast<int>(menu.selected));
      },
      [&box, &menu] { menu.selected = static_cast<std::size_t>(std::max(0, box.currentIndex())); });
}

void addPriorities(QComboBox& box) {
  static constexpr const char* kWords[] = {
      QT_TRANSLATE_NOOP("Priorities", "None"), QT_TRANSLATE_NOOP("Priorities", "Lowest"),
      QT_TRANSLATE_NOOP("Priorities", "Low"),  QT_TRANSLATE_NOOP("Priorities", "Medium"),
      QT_TRANSLATE_NOOP("Priorities", "High"), QT_TRANSLATE_NOOP("Priorities", "Highest")};
  static_assert(std::size(kWords) == kPriorityTitles.size());
  for (const char* words : kWords) {
    box.addItem(QCoreApplication::translate("Priorities", words));
  }
}

}  // namespace keldane

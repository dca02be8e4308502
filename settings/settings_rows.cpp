#include "settings/settings.h"

#include <cstdio>

#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kSelectCategories = "SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld";

}  // namespace

void Settings::clearImportWithoutFolder() {
  if (!archive.importFolderPath.empty()) return;
  archive.importFolderState = 0;
  form.importFolderCheck = false;
}

StoredSettings Settings::presentSettings() const {
  return {database_.dbPath, 1, archive, selectedAccounts, selectedMailboxes, categoryList};
}

Faults Settings::getSettings() {
  fillDbPathFromPreference();
  Faults faults = database_.openDatabase();
  known_.reset();
  StoredSettings stored;
  stored.row = archive;
  const bool rowRead = store_.readRow(stored);
  if (!rowRead) faults.push_back(sqlError());
  hasRow_ = stored.rowCount > 0;
  if (hasRow_) {
    archive = stored.row;
    // Whatever the row holds: message text comes from HTML too, and the raw source is always kept.
    archive.htmlState = 1;
    archive.origState = 1;
  }
  form.attachSizeTextField = archive.attachSize;
  form.limitSearchTextField = archive.limitSearchSize;
  form.importFolderTextField = archive.importFolderPath;
  // The choice takes effect when it is clicked, so that the control never holds anything unsaved.
  form.selectAcctsMboxMatrix = archive.mailboxesState != 0 ? 1 : 0;
  clearImportWithoutFolder();
  const bool listsRead = store_.readAccounts(selectedAccounts) &&
                         store_.readMailboxes(selectedMailboxes) &&
                         store_.readCategories(categoryList);
  if (!listsRead) faults.push_back(sqlError());
  if (!rowRead || !listsRead) return faults;
  known_ = presentSettings();
  known_->rowCount = stored.rowCount;
  return faults;
}

Faults Settings::saveSettings() {
  // A dropped archive gives way to the next one, whose own settings stand.
  if (known_ && known_->database != database_.dbPath) {
    known_.reset();
    StoredSettings present;
    if (store_.readRow(present) && present.rowCount > 0) return getSettings();
  }
  const StoredSettings ours = presentSettings();
  const Result<void> saved = store_.save(known_ ? &*known_ : nullptr, ours);
  if (!saved) return {{Fault::About::server, saved.error()}};
  // As this program knows them: what others have changed meanwhile is theirs until it is read.
  known_ = ours;
  return {};
}

Faults Settings::getCategories() {
  Faults faults = database_.openDatabase();
  categoryList.clear();
  if (!session_.query(kSelectCategories)) {
    std::fprintf(stderr, "SQL error: %s, %s\n", session_.error().c_str(), kSelectCategories);
    return faults;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (rows == nullptr) {
    std::fprintf(stderr, "SQL error: %s\n", session_.error().c_str());
    return faults;
  }
  while (rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) categoryList.push_back(toUtf8(*cell));
  }
  fillCategoryMenus();
  return faults;
}

void Settings::fillCategoryMenus() {
  categoryTitles = {kNoCategoryTitle};
  for (const std::string& category : categoryList) {
    if (category != kNoCategoryTitle) categoryTitles.push_back(category);
  }
  for (CategoryMenu* menu : {&searchCatButton, &setCatButton, &ruleCatButton}) {
    menu->titles = categoryTitles;
    menu->selected = 0;
  }
  for (const char* control : {"searchCatButton", "setCatButton", "ruleCatButton"}) {
    ui_.changed(control);
  }
}

}  // namespace keldane

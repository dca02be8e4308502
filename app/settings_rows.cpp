#include "app/settings.h"

#include <array>
#include <cstdio>
#include <variant>

#include "app/sql_values.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kSelectSettings =
    "SELECT attachState,htmlState,origState,trashState,largeAttachState,attachSize,updatesState,"
    "browseNameString,indexDateState,indexFromState,indexToState,indexSubjectState,indexBodyState,"
    "indexAttachNameState,indexAttachConState,mailboxesState,importFolderState,importFolderPath,"
    "skipDupsState,indexHeadingsState,deleteFolderState,limitSearchState,limitSearchSize,junkState,"
    "postbox,appearanceState FROM settings";
constexpr std::string_view kInsertSettings =
    "INSERT INTO settings (attachState,htmlState,origState,trashState,largeAttachState,attachSize,"
    "updatesState,browseNameString,indexDateState,indexFromState,indexToState,indexSubjectState,"
    "indexBodyState,indexAttachNameState,indexAttachConState,mailboxesState,importFolderState,"
    "importFolderPath,skipDupsState,indexHeadingsState,deleteFolderState,limitSearchState,"
    "limitSearchSize,junkState,postbox,appearanceState) VALUES(";
constexpr const char* kSelectCategories = "SELECT DISTINCT cat_fld FROM tags ORDER BY cat_fld";
/// A browse name grows with each escaping in place; longer than this it is not kept.
constexpr std::size_t kMostBrowseNameBytes = 4096;

using Number = int ArchiveSettings::*;
using Text = std::string ArchiveSettings::*;

/// The columns in the order of both statements.
constexpr std::array<std::variant<Number, Text>, 26> kColumns = {
    &ArchiveSettings::attachState,
    &ArchiveSettings::htmlState,
    &ArchiveSettings::origState,
    &ArchiveSettings::trashState,
    &ArchiveSettings::largeAttachState,
    &ArchiveSettings::attachSize,
    &ArchiveSettings::updatesState,
    &ArchiveSettings::browseNameString,
    &ArchiveSettings::indexDateState,
    &ArchiveSettings::indexFromState,
    &ArchiveSettings::indexToState,
    &ArchiveSettings::indexSubjectState,
    &ArchiveSettings::indexBodyState,
    &ArchiveSettings::indexAttachNameState,
    &ArchiveSettings::indexAttachConState,
    &ArchiveSettings::mailboxesState,
    &ArchiveSettings::importFolderState,
    &ArchiveSettings::importFolderPath,
    &ArchiveSettings::skipDupsState,
    &ArchiveSettings::indexHeadingsState,
    &ArchiveSettings::deleteFolderState,
    &ArchiveSettings::limitSearchState,
    &ArchiveSettings::limitSearchSize,
    &ArchiveSettings::junkState,
    &ArchiveSettings::postbox,
    &ArchiveSettings::appearanceState,
};

void assign(ArchiveSettings& archive, const std::variant<Number, Text>& column,
            std::string_view cell) {
  if (const Number* number = std::get_if<Number>(&column)) {
    archive.*(*number) = leadingInt(cell);
  } else {
    archive.*std::get<Text>(column) = toUtf8(cell);
  }
}

/// The values of the INSERT. Texts go in as they stand.
std::string valuesOf(const ArchiveSettings& archive, const std::string& browseName) {
  std::string values;
  for (const std::variant<Number, Text>& column : kColumns) {
    if (!values.empty()) values += ',';
    if (const Number* number = std::get_if<Number>(&column)) {
      values += std::to_string(archive.*(*number));
      continue;
    }
    const Text text = std::get<Text>(column);
    values += '"';
    values += text == &ArchiveSettings::browseNameString ? browseName : archive.*text;
    values += '"';
  }
  return values;
}

}  // namespace

void Settings::clearImportWithoutFolder() {
  if (!archive.importFolderPath.empty()) return;
  archive.importFolderState = 0;
  form.importFolderCheck = false;
}

void Settings::readSettingsRow() {
  if (!session_.query(kSelectSettings)) {
    sqlErrorAlert();
    return;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (rows == nullptr || !rows->next()) return;
  for (std::size_t i = 0; i < kColumns.size(); ++i) {
    if (const std::optional<std::string_view> cell = rows->cell(i)) {
      assign(archive, kColumns[i], *cell);
    }
  }
  // Whatever the row holds: message text comes from HTML too, and the raw source is always kept.
  archive.htmlState = 1;
  archive.origState = 1;
}

bool Settings::readNames(const char* sql, std::vector<std::string>& names) {
  names.clear();
  if (!session_.query(sql)) {
    sqlErrorAlert();
    return false;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  while (rows != nullptr && rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) names.push_back(toUtf8(*cell));
  }
  return true;
}

void Settings::getSettings() {
  fillDbPathFromPreference();
  database_.openDatabase();
  readSettingsRow();
  form.attachSizeTextField = archive.attachSize;
  form.limitSearchTextField = archive.limitSearchSize;
  form.importFolderTextField = archive.importFolderPath;
  // The choice takes effect when it is clicked, so that the control never holds anything unsaved.
  form.selectAcctsMboxMatrix = archive.mailboxesState != 0 ? 1 : 0;
  clearImportWithoutFolder();
  if (!readNames("SELECT * FROM accounts", selectedAccounts)) return;
  if (!readNames("SELECT * FROM mailboxes", selectedMailboxes)) return;
  static_cast<void>(readNames("SELECT * FROM categories", categoryList));
}

bool Settings::saveNames(const char* deleteSql, std::string_view insertSql,
                         const std::vector<std::string>& names) {
  if (!session_.query(deleteSql)) return false;
  for (const std::string& name : names) {
    std::string sql(insertSql);
    sql.append(" VALUES(").append(quotedInline(name)).append(")");
    if (!session_.query(sql)) return false;
  }
  return true;
}

bool Settings::saveSettings() {
  // Escaped in place: the browse name keeps its escapes until the row is read again.
  const std::string browseName = escapeInline(archive.browseNameString);
  if (browseName.size() <= kMostBrowseNameBytes) archive.browseNameString = browseName;
  // The sizes and the folder are not escaped: a double quote in them breaks the statement, the
  // alert says so, and the settings stay without a row.
  const bool saved =
      session_.query("DELETE FROM settings") &&
      session_.query(std::string(kInsertSettings) + valuesOf(archive, browseName) + ")") &&
      saveNames("DELETE FROM accounts", "INSERT INTO accounts (account)", selectedAccounts) &&
      saveNames("DELETE FROM mailboxes", "INSERT INTO mailboxes (mailbox)", selectedMailboxes) &&
      saveNames("DELETE FROM categories", "INSERT INTO categories (category)", categoryList);
  if (!saved) sqlErrorAlert();
  return saved;
}

void Settings::getCategories() {
  database_.openDatabase();
  categoryList.clear();
  if (!session_.query(kSelectCategories)) {
    std::fprintf(stderr, "SQL error: %s, %s\n", session_.error().c_str(), kSelectCategories);
    return;
  }
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  if (rows == nullptr) {
    std::fprintf(stderr, "SQL error: %s\n", session_.error().c_str());
    return;
  }
  while (rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) categoryList.push_back(toUtf8(*cell));
  }
  fillCategoryMenus();
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

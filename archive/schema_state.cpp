#include "archive/schema_state.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace keldane {
namespace {

using Lines = std::set<std::string, std::less<>>;

constexpr std::array<std::string_view, 54> kColumns = {
    "email.id",
    "email.from_fld",
    "email.to_fld",
    "email.subj_fld",
    "email.date_fld",
    "email.mailbox",
    "email.mailto",
    "email.body_fld",
    "email.numAttach",
    "email.attachNames",
    "email.attachText",
    "email.headings",
    "attachments.id",
    "attachments.type_fld",
    "attachments.filename_fld",
    "attachments.encode_fld",
    "attachments.attach_fld",
    "origemail.id",
    "origemail.orig_fld",
    "tags.id",
    "tags.cat_fld",
    "tags.key_fld",
    "tags.priority_fld",
    "tags.notes_fld",
    "settings.attachState",
    "settings.htmlState",
    "settings.origState",
    "settings.trashState",
    "settings.allmbState",
    "settings.largeAttachState",
    "settings.attachSize",
    "settings.updatesState",
    "settings.browseNameString",
    "settings.indexDateState",
    "settings.indexFromState",
    "settings.indexToState",
    "settings.indexSubjectState",
    "settings.indexBodyState",
    "settings.indexAttachNameState",
    "settings.indexAttachConState",
    "settings.mailboxesState",
    "settings.postbox",
    "settings.importFolderState",
    "settings.importFolderPath",
    "settings.skipDupsState",
    "settings.indexHeadingsState",
    "settings.deleteFolderState",
    "settings.limitSearchState",
    "settings.limitSearchSize",
    "settings.junkState",
    "settings.appearanceState",
    "accounts.account",
    "mailboxes.mailbox",
    "categories.category",
};

/// Of `toIndex` see below.
constexpr std::array<std::string_view, 6> kIndexes = {"dateIndex", "FromIndex", "mailboxIndex",
                                                      "subjIndex", "bodyIndex", "coverindex"};

/// What there is, each as one line: "column TABLE.NAME", "type TABLE.NAME TYPE", "index NAME",
/// "texts CHARACTERS-OF-THE-DATABASE", "mail COLLATION-OF-EMAIL".
std::string questionAbout(const std::string& database) {
  const std::string in = "table_schema='" + database + "'";
  return "SELECT CONCAT('column ',table_name,'.',column_name) FROM information_schema.columns "
         "WHERE " +
         in +
         " UNION ALL SELECT CONCAT('type ',table_name,'.',column_name,' ',column_type) FROM "
         "information_schema.columns WHERE " +
         in +
         " AND column_name IN ('mailbox','to_fld') UNION ALL SELECT DISTINCT CONCAT('index "
         "',index_name) FROM information_schema.statistics WHERE " +
         in +
         " AND table_name='email' UNION ALL SELECT CONCAT('texts ',default_character_set_name) "
         "FROM information_schema.schemata WHERE schema_name='" +
         database +
         "' UNION ALL SELECT CONCAT('mail ',table_collation) FROM information_schema.tables "
         "WHERE " +
         in + " AND table_name='email'";
}

bool has(const Lines& lines, std::string_view line) { return lines.find(line) != lines.end(); }

bool begins(const Lines& lines, std::string_view beginning) {
  const auto at = lines.lower_bound(beginning);
  return at != lines.end() && at->starts_with(beginning);
}

/// An archive of characters of three bytes stays so, with the database about it.
bool hasItsCharacters(const Lines& lines) {
  if (begins(lines, "mail utf8mb4")) return has(lines, "texts utf8mb4");
  return has(lines, "texts utf8mb3") || has(lines, "texts utf8");
}

bool isWideEnough(const Lines& lines) {
  const auto isType = [&lines](std::string_view column, std::string_view type) {
    return has(lines, "type " + std::string(column) + " " + std::string(type));
  };
  const auto isWide = [&isType](std::string_view column) {
    return isType(column, "mediumtext") || isType(column, "varchar(255)");
  };
  return isWide("email.mailbox") && isWide("email.to_fld") &&
         isType("mailboxes.mailbox", "varchar(255)");
}

bool hasIndexes(const Lines& lines) {
  // Over a whole text the server makes no index, so that a missing one is no fault.
  const bool canHaveToIndex = !has(lines, "type email.to_fld mediumtext");
  if (canHaveToIndex && !has(lines, "index toIndex")) return false;
  return std::all_of(kIndexes.begin(), kIndexes.end(), [&lines](std::string_view name) {
    return has(lines, "index " + std::string(name));
  });
}

}  // namespace

bool hasWholeSchema(ServerSession& session, const std::string& database, bool indexes) {
  if (!session.query(questionAbout(database))) return false;
  const auto rows = session.storeResult();
  Lines lines;
  while (rows != nullptr && rows->next()) lines.emplace(rows->cell(0).value_or(""));
  const bool hasColumns = std::all_of(
      kColumns.begin(), kColumns.end(),
      [&lines](std::string_view column) { return has(lines, "column " + std::string(column)); });
  return hasColumns && isWideEnough(lines) && hasItsCharacters(lines) &&
         (!indexes || hasIndexes(lines));
}

}  // namespace keldane

#include "archive/existing_archive.h"

#include <algorithm>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kLongestDatabaseName = 64;

/// Fails when a table, or one of the columns that later layouts have brought, is not there. No row
/// is read.
constexpr const char* kProbeAll =
    "SELECT email.headings,settings.appearanceState FROM "
    "email,attachments,origemail,tags,settings,accounts,mailboxes,categories LIMIT 0";
/// The columns that every layout has had: a table of another program does not.
constexpr const char* kProbeMessages =
    "SELECT id,from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld FROM email LIMIT 0";
constexpr const char* kSelectArchives =
    "SELECT DISTINCT table_schema FROM information_schema.columns WHERE table_name='email' AND "
    "column_name='subj_fld' AND table_schema<>'keldane_unfinished_restore' ORDER BY table_schema";
constexpr const char* kCountTables =
    "SELECT COUNT(*) FROM information_schema.tables WHERE table_schema=DATABASE()";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isNameCharacter(char c) {
  const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return letter || isDigit(c) || c == '_' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

/// "2019mail" is a name, "2019", "1e5" and "0xFF" are numbers.
bool isNumber(std::string_view name) {
  const std::size_t digits =
      static_cast<std::size_t>(std::find_if_not(name.begin(), name.end(), isDigit) - name.begin());
  if (digits == 0) return false;
  if (digits == name.size()) return true;
  const char next = name[digits];
  const std::string_view rest = name.substr(digits + 1);
  if (next == 'e' || next == 'E') return std::all_of(rest.begin(), rest.end(), isDigit);
  return digits == 1 && name[0] == '0' && (next == 'x' || next == 'b');
}

bool answersAtAll(ServerSession& session, const char* sql) {
  if (!session.query(sql)) return false;
  static_cast<void>(session.storeResult());
  return true;
}

}  // namespace

Result<void> checkDatabaseName(std::string_view name) {
  if (name == kUnfinishedRestore) {
    return Failure{"\"" + std::string(name) + "\" is the place of restores that are under way"};
  }
  const bool plain = !name.empty() && std::all_of(name.begin(), name.end(), isNameCharacter);
  if (plain && !isNumber(name) && utf16Length(name) <= kLongestDatabaseName) return {};
  return Failure{"\"" + printable(name) +
                 "\" cannot be the name of a database: letters, digits, _ and $ can stand in it, "
                 "at most 64, and it must not be a number"};
}

std::vector<std::string> archivesOnServer(ServerSession& session) {
  std::vector<std::string> names;
  if (!session.query(kSelectArchives)) return names;
  const std::unique_ptr<ResultRows> rows = session.storeResult();
  while (rows != nullptr && rows->next()) names.push_back(toUtf8(rows->cell(0).value_or("")));
  return names;
}

ArchivePresence lookForArchive(ServerSession& session, const std::string& name) {
  if (!session.selectDatabase(name)) {
    // Asked for by its name, as the text of an error is in the server's language.
    const bool answered = session.query(
        "SELECT COUNT(*) FROM information_schema.schemata WHERE schema_name='" + name + "'");
    if (answered && fetchFirstCell(session) == "0") return ArchivePresence::missing;
    // The first reason is the one to be told.
    if (answered) static_cast<void>(session.selectDatabase(name));
    return ArchivePresence::unreachable;
  }
  if (answersAtAll(session, kProbeAll)) return ArchivePresence::current;
  if (isLostConnection(session.error())) return ArchivePresence::unreachable;
  if (answersAtAll(session, kProbeMessages)) return ArchivePresence::older;
  if (isLostConnection(session.error())) return ArchivePresence::unreachable;
  const bool isEmpty =
      session.query(kCountTables) && fetchFirstCell(session) == "0" && session.error().empty();
  return isEmpty ? ArchivePresence::empty : ArchivePresence::foreign;
}

}  // namespace keldane

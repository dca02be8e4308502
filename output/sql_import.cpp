#include "output/sql_import.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "archive/existing_archive.h"
#include "base/text.h"
#include "output/export_frame.h"

namespace keldane {
namespace {

/// No message has this id: the row tells a table that stayed from one that the file has brought.
constexpr const char* kMark = "REPLACE INTO keldane_fingerprints (id) VALUES(0)";
constexpr const char* kCountMarks = "SELECT COUNT(*) FROM keldane_fingerprints WHERE id=0";
constexpr const char* kForgetGone =
    "DELETE FROM keldane_fingerprints WHERE id NOT IN (SELECT id FROM email)";
constexpr const char* kForgetAll = "DELETE FROM keldane_fingerprints";
constexpr const char* kSelectUnknown =
    "SELECT email.id FROM email LEFT JOIN keldane_fingerprints ON "
    "keldane_fingerprints.id=email.id WHERE keldane_fingerprints.id IS NULL";

/// The session works on another database while this lives.
class OtherDatabase {
 public:
  OtherDatabase(ServerSession& session, const std::string& name) : session_(session) {
    const Result<std::string> before = queryCell(session, "SELECT DATABASE()");
    if (before) before_ = *before;
    isSelected_ = session.selectDatabase(name);
  }
  ~OtherDatabase() {
    if (!before_.empty()) static_cast<void>(session_.selectDatabase(before_));
  }
  OtherDatabase(const OtherDatabase&) = delete;
  OtherDatabase& operator=(const OtherDatabase&) = delete;
  [[nodiscard]] bool isSelected() const { return isSelected_; }

 private:
  ServerSession& session_;
  std::string before_;
  bool isSelected_ = false;
};

/// Makes the rows that are missing. The archive is whole without them: what the server refuses is
/// learnt later, one by one.
void makeFingerprints(const Fingerprints::Context& reading, Progress& progress) {
  Fingerprints fingerprints(reading);
  if (!fingerprints.open()) return;
  std::vector<std::uint32_t> ids;
  {
    const auto rows = queryRows(reading.session, kSelectUnknown);
    while (rows && (*rows)->next()) {
      ids.push_back(
          static_cast<std::uint32_t>(std::strtoul(textOf(**rows, 0).c_str(), nullptr, 10)));
    }
  }
  for (std::size_t i = 0; i < ids.size() && !progress.cancelled(); ++i) {
    if (!fingerprints.load(ids[i])) return;
    progress.step(static_cast<int>(i + 1), {});
  }
}

}  // namespace

std::string importedDatabase(const SqlFile& file) {
  std::string name(trimWhitespace(file.databaseName));
  removeAll(name, "`");
  return checkDatabaseName(name) ? name : std::string();
}

Result<void> importArchive(const ToolContext& tools, const Fingerprints::Context& reading,
                           const std::string& path) {
  const Result<SqlFile> file = inspectSqlFile(path);
  if (!file) return Failure{file.error()};
  const std::string name = importedDatabase(*file);
  if (name.empty()) return importSQL(tools, path);
  ServerSession& session = reading.session;
  // The file itself leaves it to the server, which may know no character beyond its own country's.
  static_cast<void>(
      session.query("CREATE DATABASE IF NOT EXISTS `" + name + "` CHARACTER SET utf8mb4"));
  const OtherDatabase selected(session, name);
  if (!selected.isSelected()) return importSQL(tools, path);
  const bool isMarked = session.query(kForgetGone) && session.query(kMark);
  const Result<void> imported = importSQL(tools, path);
  // Rows that lay beside messages which the file has replaced would be taken for theirs.
  const Result<std::string> marks = queryCell(session, kCountMarks);
  if (isMarked && marks && *marks != "0") {
    static_cast<void>(session.query(file->replaces ? kForgetAll : kForgetGone));
  }
  makeFingerprints(reading, tools.progress);
  return imported;
}

}  // namespace keldane

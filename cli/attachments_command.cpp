#include <cstdio>
#include <limits>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/json_text.h"
#include "cli/message_id.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "query/attachments.h"

namespace keldane {
namespace {

struct AttachmentsOptions {
  std::vector<std::string> ids;
  std::string database;
  std::string connection;
  std::string folder;
  unsigned only = 0;  ///< number in the table; 0: all
  bool json = false;
};

/// False, and the reason printed, when there is no such message.
bool hasMessage(std::uint32_t id, Archiver& archiver, Program& program) {
  ServerSession& session = archiver.session();
  if (!session.query(fmt::format("SELECT count(id) FROM email WHERE id={}", id))) {
    program.exitStatus = program.failSql(session.error());
    return false;
  }
  if (fetchFirstCell(session) != "0") return true;
  program.exitStatus = program.fail(fmt::format("there is no message with the id {}", id));
  return false;
}

/// The attachments as they are printed; with a column for the message when there are several.
class Table {
 public:
  Table(const AttachmentsOptions& options, bool namesMessages)
      : options_(options), namesMessages_(namesMessages) {}

  /// `first`: the number of those left out before. `paths`, one for each, says where they have been
  /// saved; empty: nowhere.
  void add(std::uint32_t id, const std::vector<AttachmentInfo>& found, std::size_t first,
           const std::vector<std::string>& paths) {
    for (std::size_t i = 0; i < found.size(); ++i) {
      const AttachmentInfo& item = found[i];
      if (options_.json) {
        nlohmann::ordered_json object = {{"number", first + i + 1},
                                         {"name", item.name},
                                         {"type", item.type},
                                         {"size", item.sizeBytes}};
        if (!paths.empty()) object["file"] = paths[i];
        if (namesMessages_) object["message"] = id;
        printJson(object);
        continue;
      }
      std::vector<std::string> row;
      if (namesMessages_) row.push_back(fmt::format("{}", id));
      row.insert(row.end(), {fmt::format("{}", first + i + 1), item.name, item.type,
                             fmt::format("{}", item.sizeBytes)});
      if (!paths.empty()) row.push_back(paths[i]);
      rows_.push_back(std::move(row));
    }
  }

  void print(const OutputStyle& style) const {
    if (rows_.empty()) return;
    const Pager pager(style);
    std::vector<TableColumn> columns;
    if (namesMessages_) columns.push_back({"ID", true, 0});
    columns.insert(columns.end(),
                   {{"NO", true, 0}, {"NAME", false, 0}, {"TYPE", false, 40}, {"SIZE", true, 0}});
    const bool isSaved = !options_.folder.empty();
    if (isSaved) columns.push_back({"FILE", false, 0});
    // A path that is cut is of no use.
    const bool isCut = !isSaved || pager.width() == 0;
    const std::size_t width = isCut ? pager.width() : std::numeric_limits<std::size_t>::max();
    std::fputs(formatTable(columns, rows_, width).c_str(), stdout);
  }

 private:
  const AttachmentsOptions& options_;
  const bool namesMessages_;
  std::vector<std::vector<std::string>> rows_;
};

/// Lists or saves those of one message. False, and the reason printed, when that failed.
bool listMessage(std::uint32_t id, const AttachmentsOptions& options, Table& table,
                 Archiver& archiver, Program& program) {
  if (!hasMessage(id, archiver, program)) return false;
  const auto failed = [&program](const std::string& reason) {
    program.exitStatus = program.fail(reason);
    return false;
  };
  Result<std::vector<AttachmentInfo>> found = listAttachments(archiver.session(), id);
  if (!found) return failed(found.error());
  std::optional<std::size_t> only;
  if (options.only != 0) {
    only = options.only - 1;
    if (*only >= found->size()) {
      return failed(fmt::format("message {} has {}, and none of the number {}", id,
                                countText(static_cast<long long>(found->size()), "attachment"),
                                options.only));
    }
    found = std::vector<AttachmentInfo>{(*found)[*only]};
  }
  std::vector<std::string> paths;
  if (!options.folder.empty()) {
    const Result<std::vector<std::string>> saved =
        saveAttachments(archiver.session(), id, options.folder, only);
    if (!saved) return failed(saved.error());
    paths = *saved;
    if (paths.size() != found->size()) {
      return failed("the attachments changed while they were saved");
    }
  }
  table.add(id, *found, only.value_or(0), paths);
  return true;
}

void runAttachments(const AttachmentsOptions& options, Program& program) {
  const auto ids = messageIds(options.ids, program);
  if (!ids || ids->empty()) return;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  Table table(options, ids->size() > 1);
  for (const std::uint32_t id : *ids) (void)listMessage(id, options, table, *archiver, program);
  table.print(program.style);
}

}  // namespace

Command attachmentsCommand(Program& program) {
  auto options = std::make_shared<AttachmentsOptions>();
  return {.name = "attachments",
          .help = "List or save the attachments of messages",
          .options = {idArgument(options->ids),
                      {"--save", &options->folder,
                       "Save them in this folder; no file there is overwritten", "DIR"},
                      {"--only", numberInto(options->only, 1, std::numeric_limits<unsigned>::max()),
                       "Just the one with this number in the table", "N"},
                      {"--database", &options->database, "Look in this database", "NAME"},
                      {"--connection", &options->connection, "Use this saved connection", "NAME"},
                      {"--json", &options->json, "One JSON object a line for each attachment"}},
          .run = [options, &program] { runAttachments(*options, program); }};
}

}  // namespace keldane

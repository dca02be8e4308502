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
  std::uint32_t id = 0;
  std::string database;
  std::string connection;
  std::string folder;
  unsigned only = 0;  ///< number in the table; 0: all
  bool json = false;
};

/// False, and the reason printed, when there is no such message.
bool hasMessage(std::uint32_t id, KeldaneController& controller, Program& program) {
  ServerSession& session = controller.session();
  if (!session.query(fmt::format("SELECT count(id) FROM email WHERE id={}", id))) {
    program.exitStatus = program.failSql(session.error());
    return false;
  }
  if (fetchFirstCell(session) != "0") return true;
  program.exitStatus = program.fail(fmt::format("there is no message with the id {}", id));
  return false;
}

/// Prints the attachments from `first` on. `paths`, one for each, says where they have been saved;
/// empty: nowhere.
void print(const std::vector<AttachmentInfo>& found, std::size_t first,
           const std::vector<std::string>& paths, bool json) {
  std::vector<std::vector<std::string>> rows;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const AttachmentInfo& item = found[i];
    if (json) {
      nlohmann::ordered_json object = {{"number", first + i + 1},
                                       {"name", item.name},
                                       {"type", item.type},
                                       {"size", item.sizeBytes}};
      if (!paths.empty()) object["file"] = paths[i];
      printJson(object);
      continue;
    }
    rows.push_back({fmt::format("{}", first + i + 1), item.name, item.type,
                    fmt::format("{}", item.sizeBytes)});
    if (!paths.empty()) rows.back().push_back(paths[i]);
  }
  if (json || rows.empty()) return;
  const Pager pager;
  std::vector<TableColumn> columns = {
      {"NO", true, 0}, {"NAME", false, 0}, {"TYPE", false, 40}, {"SIZE", true, 0}};
  if (!paths.empty()) columns.push_back({"FILE", false, 0});
  // A path that is cut is of no use.
  const bool isCut = paths.empty() || pager.width() == 0;
  const std::size_t width = isCut ? pager.width() : std::numeric_limits<std::size_t>::max();
  std::fputs(formatTable(columns, rows, width).c_str(), stdout);
}

void runAttachments(const AttachmentsOptions& options, Program& program) {
  KeldaneController* controller = program.connected(options.connection, options.database);
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  if (!hasMessage(options.id, *controller, program)) return;
  Result<std::vector<AttachmentInfo>> found = listAttachments(controller->session(), options.id);
  if (!found) {
    program.exitStatus = program.fail(found.error());
    return;
  }
  std::optional<std::size_t> only;
  if (options.only != 0) {
    only = options.only - 1;
    if (*only >= found->size()) {
      program.exitStatus = program.fail(fmt::format(
          "message {} has {}, and none of the number {}", options.id,
          countText(static_cast<long long>(found->size()), "attachment"), options.only));
      return;
    }
    found = std::vector<AttachmentInfo>{(*found)[*only]};
  }
  std::vector<std::string> paths;
  if (!options.folder.empty()) {
    const Result<std::vector<std::string>> saved =
        saveAttachments(controller->session(), options.id, options.folder, only);
    if (!saved) {
      program.exitStatus = program.fail(saved.error());
      return;
    }
    paths = *saved;
    if (paths.size() != found->size()) {
      program.exitStatus = program.fail("the attachments changed while they were saved");
      return;
    }
  }
  print(*found, only.value_or(0), paths, options.json);
}

}  // namespace

Command attachmentsCommand(Program& program) {
  auto options = std::make_shared<AttachmentsOptions>();
  return {.name = "attachments",
          .help = "List or save the attachments of a message",
          .options = {{.names = "ID",
                       .target = messageIdInto(options->id),
                       .help = "Id of the message, as the lists show it",
                       .required = true},
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

#include <cstdio>
#include <limits>
#include <memory>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/json_text.h"
#include "cli/message_id.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "query/attachments.h"
#include "query/message_parts.h"

namespace keldane {
namespace {

struct PartsOptions {
  std::vector<std::string> ids;
  std::string database;
  std::string connection;
  std::string path;
  unsigned number = 0;
  bool json = false;
};

const char* nameOf(PartUse use) {
  switch (use) {
    case PartUse::container:
      return "container";
    case PartUse::bodyText:
      return "body";
    case PartUse::html:
      return "html";
    case PartUse::attachment:
      return "attachment";
    case PartUse::insideMessage:
      return "inside-message";
    case PartUse::otherText:
      return "other-text";
    case PartUse::notKept:
      break;
  }
  return "not-kept";
}

std::string wordsOf(const MessagePartInfo& part) {
  switch (part.use) {
    case PartUse::container:
      return part.attachmentNumber == 0 ? "holds those below"
                                        : fmt::format("attachment {}", part.attachmentNumber);
    case PartUse::bodyText:
      return "text of the message";
    case PartUse::html:
      return fmt::format("HTML version, attachment {}", part.attachmentNumber);
    case PartUse::attachment:
      return fmt::format("attachment {}", part.attachmentNumber);
    case PartUse::insideMessage:
      return "left out: belongs to the message around it";
    case PartUse::otherText:
      return "left out: a text beside that of the message";
    case PartUse::notKept:
      break;
  }
  return "left out: not among the attachments";
}

void printTable(const std::vector<MessagePartInfo>& parts, const OutputStyle& style) {
  std::vector<std::vector<std::string>> rows;
  for (const MessagePartInfo& part : parts) {
    const std::string indent(2 * static_cast<std::size_t>(part.depth), ' ');
    const bool hasSize = part.use != PartUse::container || part.sizeBytes != 0;
    rows.push_back({fmt::format("{}", rows.size() + 1),
                    indent + (part.type.empty() ? "(no type)" : part.type), part.charset, part.name,
                    hasSize ? fmt::format("{}", part.sizeBytes) : "", wordsOf(part)});
  }
  const Pager pager(style);
  std::fputs(formatTable({{"NO", true, 0},
                          {"PART", false, 40},
                          {"CHARSET", false, 16},
                          {"NAME", false, 0},
                          {"SIZE", true, 0},
                          {"IN THE ARCHIVE", false, 0}},
                         std::move(rows), pager.width())
                 .c_str(),
             stdout);
}

void printLines(std::uint32_t id, const std::vector<MessagePartInfo>& parts) {
  std::size_t number = 0;
  for (const MessagePartInfo& part : parts) {
    nlohmann::ordered_json object = {{"id", id},
                                     {"number", ++number},
                                     {"depth", part.depth},
                                     {"type", part.type},
                                     {"charset", part.charset},
                                     {"name", part.name},
                                     {"size", part.sizeBytes},
                                     {"use", nameOf(part.use)}};
    if (part.attachmentNumber != 0) object["attachment"] = part.attachmentNumber;
    printJson(object);
  }
}

void savePart(const PartsOptions& options, const MessageParts& found, Program& program) {
  const MessagePartInfo& part = found.parts[options.number - 1];
  if (!found.bytes) {
    program.exitStatus = program.fail(
        fmt::format("part {} only holds the parts below it: name one of those", options.number));
    return;
  }
  if (options.path == "-") {
    std::fwrite(found.bytes->data(), 1, found.bytes->size(), stdout);
    return;
  }
  const std::string name = part.name.empty() ? fmt::format("part-{}", options.number) : part.name;
  const Result<std::string> saved = saveNewFile(options.path, name, *found.bytes);
  if (!saved) {
    program.exitStatus = program.fail(saved.error());
    return;
  }
  if (options.json) {
    printJson({{"number", options.number}, {"size", found.bytes->size()}, {"file", *saved}});
  } else {
    std::fputs(fmt::format("{}\n", printable(*saved)).c_str(), stdout);
  }
}

void runParts(PartsOptions options, Program& program) {
  const bool saves = !options.path.empty();
  const auto refuse = [&program](const char* why) {
    program.fail(why);
    program.exitStatus = kExitUsage;
  };
  if (saves != (options.number != 0)) {
    return refuse(
        "--save takes a path, and behind it the number of a part: `keldane parts ID` "
        "shows them");
  }
  const auto ids = messageIds(options.ids, program);
  if (!ids) return;
  if (ids->size() != 1) return refuse("the parts are those of one message: give one id");
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  const std::uint32_t id = ids->front();
  const auto wanted = saves ? std::optional<std::size_t>(options.number - 1) : std::nullopt;
  const Result<MessageParts> found =
      readParts(archiver->session(), sourceReading(archiver->settings().user), id, wanted);
  if (!found) {
    program.exitStatus = program.failSql(found.error());
  } else if (found->parts.empty()) {
    program.exitStatus =
        program.fail(fmt::format("the archive has no message {} with a source", id));
  } else if (options.number > found->parts.size()) {
    program.exitStatus = program.fail(fmt::format(
        "message {} has {}, and none of the number {}", id,
        countText(static_cast<long long>(found->parts.size()), "part"), options.number));
  } else if (saves) {
    savePart(options, *found, program);
  } else if (options.json) {
    printLines(id, found->parts);
  } else {
    printTable(found->parts, program.style);
  }
}

}  // namespace

Command partsCommand(Program& program) {
  auto options = std::make_shared<PartsOptions>();
  CommandOption idOption = idArgument(options->ids);
  idOption.most = 1;
  return {.name = "parts",
          .help = "Show every part of a message, and what the archive made of it",
          .more =
              "The parts are read from the message's source, so that those too are there which the "
              "list of attachments leaves out: texts in another form, pictures of a page, and what "
              "an attached message holds.",
          .options = {std::move(idOption),
                      {"N", numberInto(options->number, 1, std::numeric_limits<unsigned>::max()),
                       "The part that --save takes"},
                      {"--save", &options->path,
                       "Save part N in this new file or folder, or write it to standard output (-)",
                       "PATH"},
                      {"--database", &options->database, "Look in this database", "NAME"},
                      {"--connection", &options->connection, "Use this saved connection", "NAME"},
                      {"--json", &options->json, "One JSON object a line for each part"}},
          .run = [options, &program] { runParts(*options, program); }};
}

}  // namespace keldane

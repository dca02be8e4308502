#include "output/saved_text.h"

#include <optional>
#include <vector>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "output/text_encodings.h"
#include "output/utf16_piece.h"

namespace keldane {
namespace {

constexpr int kMostNumbers = 100000;  ///< tried behind a name that is taken

Result<std::vector<std::string>> attachmentNames(ServerSession& session, std::uint32_t id) {
  const auto rows =
      queryRows(session, fmt::format("SELECT filename_fld FROM attachments WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  std::vector<std::string> names;
  while ((*rows)->next()) names.push_back(textOf(**rows, 0));
  return names;
}

/// The date as the list shows it, without the mark of a tagged message.
std::string dateOf(const ListedMessage& message) {
  std::string date = message.date;
  removeAll(date, "*");
  return date;
}

/// Deleted since the list was made.
bool isGone(const ListedMessage& message) { return message.date.empty(); }

Result<void> saveMessage(const OutputContext& context, const ListedMessage& message,
                         const ListedTextReader& readText, bool stripQuoted, OutputFile& file) {
  const Result<std::string> text = readText(message.id, dateOf(message), stripQuoted);
  if (!text) return Failure{text.error()};
  const auto names = attachmentNames(context.session, message.id);
  if (!names) return Failure{names.error()};
  {
    Utf16Piece piece(file);
    piece.add(*text);
    piece.add("\n\n");
  }
  for (const std::string& name : *names) file.write(utf16WithMark(name + "\n\n"));
  return {};
}

/// Shows how many sources were written in place of how many messages were seen.
class SourceCount : public Progress {
 public:
  explicit SourceCount(Progress& shown) : shown_(shown) {}
  void step(int /*count*/, std::string_view detail) override { shown_.step(sources, detail); }
  [[nodiscard]] bool cancelled() const override { return shown_.cancelled(); }
  int sources = 0;

 private:
  Progress& shown_;
};

/// A path in the folder that nothing has: "12_a.pdf", "12_a_2.pdf", ...
Result<std::string> freePath(const std::string& folder, const std::string& name) {
  const std::size_t dot = name.rfind('.');
  const std::string stem = name.substr(0, dot);
  const std::string ending = dot == std::string::npos ? "" : name.substr(dot);
  std::string path = folder + "/" + name;
  for (int number = 2; fileExists(path) && number <= kMostNumbers; ++number) {
    path = fmt::format("{}/{}_{}{}", folder, stem, number, ending);
  }
  if (fileExists(path)) return Failure{path + ": too many files of this name"};
  return path;
}

Result<void> saveAttachment(std::uint32_t id, const StoredAttachment& attachment,
                            const std::string& folder) {
  const std::string name = unescapeInline(attachment.name);
  const Result<std::string> path = freePath(folder, safeFileName(fmt::format("{}_{}", id, name)));
  if (!path) return Failure{path.error()};
  OutputFile file(*path);
  if (!file.open()) return Failure{"Couldn't open " + *path};
  file.write(attachment.bytes);
  return file.commit();
}

}  // namespace

Result<OutputReport> saveList(const OutputContext& context, const MessageList& list,
                              const std::string& path, const std::string& whereSql) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  file.write(whereSql + "\n\n");
  return carryToFile(
      context, list, file, true, [&](std::size_t index, OutputReport& report) -> Result<void> {
        const Result<ListedMessage> row = list.row(index);
        if (!row) return Failure{row.error()};
        if (isGone(*row)) return {};
        file.write(nonLossyAscii(fmt::format("{}\t{}\t{}\t{}\t{}\t{}\n", row->id, row->date,
                                             row->from, row->to, row->subject, row->mailbox)));
        ++report.messages;
        return {};
      });
}

Result<OutputReport> saveMessages(const OutputContext& context, const MessageList& list,
                                  const std::string& path, const ListedTextReader& readText,
                                  bool stripQuoted) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  return carryToFile(context, list, file, true,
                     [&](std::size_t index, OutputReport& report) -> Result<void> {
                       const Result<ListedMessage> row = list.row(index);
                       if (!row) return Failure{row.error()};
                       if (isGone(*row)) return {};
                       ++report.messages;
                       return saveMessage(context, *row, readText, stripQuoted, file);
                     });
}

Result<OutputReport> saveSources(const OutputContext& context, const MessageList& list,
                                 const std::string& path, bool countsSources) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  SourceCount count(context.progress);
  const OutputContext counting{context.session, countsSources ? count : context.progress,
                               context.stripPlist, context.log};
  return carryToFile(
      counting, list, file, true, [&](std::size_t index, OutputReport& report) -> Result<void> {
        const auto rows =
            queryRows(context.session,
                      fmt::format("SELECT orig_fld FROM origemail WHERE id={}", list.id(index)));
        if (!rows) return Failure{rows.error()};
        if (!(*rows)->next() || (*rows)->cell(0).value_or("").empty()) return {};
        file.write(textOf(**rows, 0));
        file.write("\n\n");
        ++report.messages;
        ++count.sources;
        return {};
      });
}

Result<AttachmentsReport> saveAllAttachments(const OutputContext& context, const MessageList& list,
                                             const std::string& folder) {
  if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  AttachmentsReport report;
  for (std::size_t index = 0; index < list.size && !report.cancelled; ++index) {
    const std::uint32_t id = list.id(index);
    const auto count = readAttachments(
        context.session, id, [&](const StoredAttachment& attachment) -> Result<void> {
          if (isOwnHtml(attachment.name)) return {};
          Result<void> saved = saveAttachment(id, attachment, folder);
          if (saved) context.progress.step(static_cast<int>(++report.files), {});
          return saved;
        });
    if (!count) return Failure{count.error()};
    report.lastHadAttachments = *count > 0;
    report.cancelled = index + 1 < list.size && context.progress.cancelled();
  }
  return report;
}

Result<std::string> printedMessage(const OutputContext& context, const ListedMessage& message,
                                   const ListedTextReader& readText, bool stripQuoted) {
  Result<std::string> text = readText(message.id, dateOf(message), stripQuoted);
  if (!text) return text;
  const auto names = attachmentNames(context.session, message.id);
  if (!names) return Failure{names.error()};
  if (!names->empty()) *text += "\n\n";
  for (const std::string& name : *names) *text += name + "\n\n";
  return text;
}

Result<std::optional<std::string>> printedList(const OutputContext& context,
                                               const MessageList& list,
                                               const ListedTextReader& readText, bool stripQuoted) {
  std::string all;
  const auto walked =
      carryEach(context, list, [&](std::size_t index, OutputReport&) -> Result<void> {
        const Result<ListedMessage> row = list.row(index);
        if (!row) return Failure{row.error()};
        if (isGone(*row)) return {};
        const Result<std::string> text = readText(row->id, dateOf(*row), stripQuoted);
        if (!text) return Failure{text.error()};
        const auto names = attachmentNames(context.session, row->id);
        if (!names) return Failure{names.error()};
        all.append(*text).append("\n\n");
        for (const std::string& name : *names) all.append(name).append("\n\n");
        return {};
      });
  if (!walked) return Failure{walked.error()};
  if (walked->cancelled) return std::optional<std::string>();
  return std::optional<std::string>(std::move(all));
}

Result<void> sendToPrinter(ToolRunner& tools, const std::string& text, const std::string& printer) {
  ToolCall call;
  call.program = "lp";
  call.arguments = {"-t", "Keldane"};
  if (!printer.empty()) call.arguments.insert(call.arguments.end(), {"-d", printer});
  // What comes out of a message must not steer the printer.
  call.input = shownText(text);
  const Result<ToolOutcome> outcome = tools.run(call);
  if (!outcome) return Failure{outcome.error()};
  if (outcome->exitStatus == 0) return {};
  return Failure{"the printer was not reached: " + std::string(trimWhitespace(outcome->errorText))};
}

}  // namespace keldane

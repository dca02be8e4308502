#include "output/mbox_exports.h"

#include <algorithm>

#include <fmt/format.h>

#include "archive/mboxrd_form.h"
#include "base/text.h"
#include "output/exact_sources.h"
#include "output/mail_dates.h"
#include "output/rebuilt_message.h"
#include "output/text_encodings.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";
constexpr std::string_view kNoDate = "Mon Jan 1 00:00:00 1900";
constexpr std::string_view kBoundary = "KeldaneBoundary";
constexpr std::size_t kLeastSourceUnits = 3;
constexpr std::size_t kLeastAddressUnits = 2;

std::string separatorLine(const ListedMessage& message) {
  std::string line(kFrom);
  const std::size_t bracket = message.from.find('<');
  if (message.from.empty()) {
    line += "?????";
  } else {
    line += bracket == std::string::npos ? message.from : message.from.substr(bracket);
  }
  const auto date = parseServerDate(message.date);
  return line + "  " + (date ? separatorDate(*date) : std::string(kNoDate));
}

/// A part's length of 0 says that it is text.
bool isBinary(const StoredAttachment& attachment) { return attachment.lengthBytes != 0; }

bool isTextType(const StoredAttachment& attachment) {
  return findNoCase(attachment.type, "text/").has_value();
}

void writePart(const StoredAttachment& attachment, bool mixed, OutputFile& file) {
  file.write(fmt::format("\n--{}\nContent-Transfer-Encoding: {}\n", kBoundary,
                         isBinary(attachment) ? "base64" : "7bit"));
  file.write(fmt::format("Content-Type: {}; name=\"{}\"\n", attachment.type, attachment.name));
  const bool isForeignText = !isTextType(attachment) && !isBinary(attachment);
  file.write(mixed && !isForeignText ? "Content-Disposition: attachment\n\n" : "\n");
  const std::string text = attachmentText(attachment);
  file.write(trimWhitespace(text));
  file.write("\n\n");
}

/// What a message's attachments make it: told before the first of them is written.
struct Shape {
  std::size_t attachments = 0;
  bool mixed = false;
};

Result<Shape> shapeOf(ServerSession& session, std::uint32_t id) {
  const auto rows = queryRows(
      session, fmt::format("SELECT type_fld,LENGTH(attach_fld) FROM attachments WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  Shape shape;
  while ((*rows)->next()) {
    StoredAttachment attachment;
    attachment.type = textOf(**rows, 0);
    attachment.lengthBytes = leadingInt(textOf(**rows, 1));
    shape.mixed = shape.mixed || !isTextType(attachment) || isBinary(attachment);
    ++shape.attachments;
  }
  return shape;
}

/// A message that has no source, from its row. Answers whether it could be written.
Result<bool> writeRebuilt(const OutputContext& context, std::uint32_t id, OutputFile& file) {
  enum Column : std::size_t { kDate, kSender, kTo, kSubject, kBody, kMailbox, kMailto };
  std::string head;
  std::string body;
  {
    const auto rows = queryRows(
        context.session,
        fmt::format("SELECT date_fld,from_fld,to_fld,subj_fld,body_fld,mailbox,mailto,numAttach,"
                    "attachNames,attachText,headings FROM email WHERE id={}",
                    id));
    if (!rows) return Failure{rows.error()};
    if (!(*rows)->next()) return false;
    const std::string mailto = textOf(**rows, kMailto);
    const auto date = parseServerDate(textOf(**rows, kDate));
    if (utf16Length(mailto) < kLeastAddressUnits || !date) return false;
    body = textOf(**rows, kBody);
    body.resize(std::min(body.size(), body.find(kAttachmentsMark)));
    head = fmt::format(
        "From {0} {1}\nMIME-Version: 1.0\nTo: {2}\nFrom: {3}\nDate: {4} \nSubject: {5}\nReply-To: "
        "{0}\n",
        mailto, separatorDate(*date), textOf(**rows, kTo), textOf(**rows, kSender),
        dateWithoutZone(*date), textOf(**rows, kSubject));
  }
  const Result<Shape> shape = shapeOf(context.session, id);
  if (!shape) return Failure{shape.error()};
  file.write(head);
  if (shape->attachments == 0) {
    file.write("Content-Type: text/plain\nContent-Transfer-Encoding: 7bit\n\n" + body + "\n\n");
    return true;
  }
  file.write(fmt::format("Content-Type: multipart/{}; boundary={}\n",
                         shape->mixed ? "mixed" : "alternative", kBoundary));
  if (!body.empty()) {
    file.write(fmt::format("\n--{}\nContent-Type: text/plain\n", kBoundary));
    // The underscore is part of the format.
    file.write("Content_Transfer-Encoding: 7bit\n\n" + body + "\n");
  }
  const auto count =
      readAttachments(context.session, id, [&](const StoredAttachment& attachment) -> Result<void> {
        writePart(attachment, shape->mixed, file);
        return {};
      });
  if (!count) return Failure{count.error()};
  file.write(fmt::format("\n--{}--\n\n", kBoundary));
  return true;
}

Result<void> writeMessage(const OutputContext& context, const ListedMessage& message,
                          OutputFile& file, OutputReport& report) {
  Result<std::string> cell = queryCell(
      context.session, fmt::format("SELECT orig_fld FROM origemail WHERE id={}", message.id));
  if (!cell) return Failure{cell.error()};
  if (utf16Length(utf16Prefix(*cell, kLeastSourceUnits)) < kLeastSourceUnits) {
    const Result<bool> written = writeRebuilt(context, message.id, file);
    if (!written) return Failure{written.error()};
    if (*written) ++report.messages;
    return {};
  }
  std::string source = toUtf8(*cell);
  if (context.stripPlist) context.stripPlist(source);
  if (!source.starts_with(kFrom)) file.write(nonLossyAscii(separatorLine(message)) + "\n");
  replaceAll(source, "\nFrom ", "\n From ");
  file.write(nonLossyAscii(source));
  file.write("\n\n");
  ++report.messages;
  return {};
}

Result<std::string> separatorDateOf(const OutputContext& context, std::uint32_t id) {
  const auto date =
      queryCell(context.session, fmt::format("SELECT date_fld FROM email WHERE id={}", id));
  if (!date) return Failure{date.error()};
  const auto parsed = parseServerDate(*date);
  return parsed ? separatorDate(*parsed) : std::string(kNoDate);
}

}  // namespace

Result<OutputReport> exportMbox(const OutputContext& context, const MessageList& list,
                                const std::string& path) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  return carryToFile(context, list, file, true,
                     [&](std::size_t index, OutputReport& report) -> Result<void> {
                       const Result<ListedMessage> message = list.row(index);
                       if (!message) return Failure{message.error()};
                       return writeMessage(context, *message, file, report);
                     });
}

Result<OutputReport> exportMboxrd(const OutputContext& context, const MessageList& list,
                                  const std::string& path, bool requireExact) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  ExactSources sources(context);
  return carryToFile(
      context, list, file, false, [&](std::size_t index, OutputReport& report) -> Result<void> {
        const std::uint32_t id = list.id(index);
        const auto source = sources.read(id);
        if (!source) return Failure{source.error()};
        if (!*source) return {};
        if (Result<void> counted = countSource(id, (*source)->state, requireExact, report.sources);
            !counted) {
          return counted;
        }
        const Result<std::string> date = separatorDateOf(context, id);
        if (!date) return Failure{date.error()};
        file.write(mboxrdMessage((*source)->bytes, *date));
        ++report.messages;
        return {};
      });
}

}  // namespace keldane

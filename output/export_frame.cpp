#include "output/export_frame.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

#include "base/base64.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr int kLeastEncodedBytes = 2;

Failure sqlFailure(const ServerSession& session) { return {"SQL error: " + session.error()}; }

}  // namespace

MessageList listOfIds(ServerSession& session, std::vector<std::uint32_t> ids) {
  const auto shared = std::make_shared<const std::vector<std::uint32_t>>(std::move(ids));
  MessageList list;
  list.size = shared->size();
  list.id = [shared](std::size_t index) { return (*shared)[index]; };
  list.row = [shared, &session](std::size_t index) -> Result<ListedMessage> {
    ListedMessage message;
    message.id = (*shared)[index];
    const auto rows = queryRows(
        session, fmt::format("SELECT date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM "
                             "email WHERE id={}",
                             message.id));
    if (!rows) return Failure{rows.error()};
    if (!(*rows)->next()) return message;
    message.date = textOf(**rows, 0);
    message.from = textOf(**rows, 1);
    message.to = textOf(**rows, 2);
    message.subject = textOf(**rows, 3);
    message.mailbox = textOf(**rows, 4);
    message.attachments = leadingInt(textOf(**rows, 5));
    return message;
  };
  return list;
}

Result<std::unique_ptr<ResultRows>> queryRows(ServerSession& session, const std::string& sql,
                                              bool streamed) {
  if (!session.query(sql)) return sqlFailure(session);
  std::unique_ptr<ResultRows> rows = streamed ? session.useResult() : session.storeResult();
  if (!rows) return sqlFailure(session);
  return rows;
}

Result<void> checkEnd(ServerSession& session) {
  if (!session.error().empty()) return sqlFailure(session);
  return {};
}

Result<std::string> queryCell(ServerSession& session, const std::string& sql) {
  if (!session.query(sql)) return sqlFailure(session);
  std::string cell = fetchFirstCell(session);
  if (const Result<void> end = checkEnd(session); !end) return Failure{end.error()};
  return cell;
}

std::string textOf(const ResultRows& row, std::size_t column) {
  return toUtf8(row.cell(column).value_or(std::string_view()));
}

std::string_view viewOf(const ResultRows& row, std::size_t column, std::string& recoded) {
  const std::string_view cell = row.cell(column).value_or(std::string_view());
  if (isValidUtf8(cell)) return cell;
  recoded = toUtf8(cell);
  return recoded;
}

void missSource(const OutputContext& context, const std::string& error, OutputReport& report) {
  ++report.missedSources;
  const std::string line = error + "\n";
  if (context.log) {
    context.log(line);
  } else {
    std::fputs(line.c_str(), stderr);
  }
}

Result<OutputReport> carryEach(
    const OutputContext& context, const MessageList& list,
    const std::function<Result<void>(std::size_t index, OutputReport& report)>& carry) {
  OutputReport report;
  for (std::size_t index = 0; index < list.size; ++index) {
    if (context.progress.cancelled()) {
      report.cancelled = true;
      return report;
    }
    if (const Result<void> done = carry(index, report); !done) return Failure{done.error()};
    context.progress.step(static_cast<int>(index + 1), {});
  }
  return report;
}

Result<OutputReport> carryToFile(
    const OutputContext& context, const MessageList& list, OutputFile& file, bool keepsPart,
    const std::function<Result<void>(std::size_t index, OutputReport& report)>& carry) {
  Result<OutputReport> report =
      carryEach(context, list, [&](std::size_t index, OutputReport& counts) -> Result<void> {
        Result<void> done = carry(index, counts);
        // `commit` tells what has failed.
        if (file.hasFailed()) return file.commit();
        return done;
      });
  if (report && report->cancelled) return report;
  if (!report && (!keepsPart || file.hasFailed())) return report;
  if (const Result<void> written = file.commit(); !written) return Failure{written.error()};
  return report;
}

Result<std::size_t> readAttachments(
    ServerSession& session, std::uint32_t id,
    const std::function<Result<void>(const StoredAttachment&)>& take) {
  std::size_t count = 0;
  {
    const auto rows = queryRows(
        session,
        fmt::format(
            "SELECT type_fld,filename_fld,LENGTH(attach_fld),attach_fld FROM attachments WHERE "
            "id={}",
            id),
        true);
    if (!rows) return Failure{rows.error()};
    while ((*rows)->next()) {
      StoredAttachment attachment;
      attachment.type = textOf(**rows, 0);
      attachment.name = textOf(**rows, 1);
      attachment.lengthBytes = leadingInt(textOf(**rows, 2));
      attachment.bytes = (*rows)->cell(3).value_or(std::string_view());
      ++count;
      if (const Result<void> done = take(attachment); !done) return Failure{done.error()};
    }
  }
  if (const Result<void> end = checkEnd(session); !end) return Failure{end.error()};
  return count;
}

bool isOwnHtml(const std::string& name) {
  return name.ends_with(".html") &&
         (name.starts_with("htmlversion") || name.starts_with("attachment"));
}

std::string attachmentText(const StoredAttachment& attachment) {
  if (attachment.lengthBytes < kLeastEncodedBytes) return toUtf8(attachment.bytes);
  std::string text;
  encodeBase64Lines(attachment.bytes, text);
  return text;
}

}  // namespace keldane

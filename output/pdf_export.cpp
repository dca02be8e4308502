#include "output/pdf_export.h"

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/files.h"
#include "output/folder_exports.h"
#include "output/pdf_book.h"

namespace keldane {
namespace {

Failure about(const ListedMessage& message, const std::string& reason) {
  return {fmt::format("message {}: {}", message.id, reason)};
}

/// Takes a message with its attachments into the book.
Result<void> addMessage(const OutputContext& context, const ListedMessage& message,
                        const PdfLayout& layOut, PdfBook& book) {
  {
    const Result<std::string> pages = layOut(message);
    if (!pages) return about(message, pages.error());
    if (const Result<void> added = book.addMessage(*pages, message.subject); !added) {
      return about(message, added.error());
    }
  }
  const std::string note = fmt::format("{}: {}", message.id, message.subject);
  const auto files = readAttachments(
      context.session, message.id, [&](const StoredAttachment& attachment) -> Result<void> {
        if (isOwnHtml(attachment.name)) return {};
        book.addFile(unescapeInline(attachment.name), attachment.type, note, attachment.bytes);
        return {};
      });
  return files ? Result<void>() : Failure{files.error()};
}

Result<void> writeOne(const OutputContext& context, const ListedMessage& message,
                      const PdfLayout& layOut, const std::string& folder) {
  const Result<MessageFile> named = messageFile(context.session, message.id, "pdf");
  if (!named) return Failure{named.error()};
  OutputFile file(folder + "/" + named->name);
  if (Result<void> opened = file.open(); !opened) return opened;
  if (named->time != 0) file.setTime(named->time);
  PdfBook book(file, false);
  if (Result<void> added = addMessage(context, message, layOut, book); !added) return added;
  if (Result<void> ended = book.finish(message.subject); !ended) return ended;
  return file.commit();
}

/// Takes each message that is still there through `carry`.
Result<OutputReport> carryRows(const OutputContext& context, const MessageList& list,
                               const std::function<Result<void>(const ListedMessage&)>& carry) {
  return carryEach(context, list, [&](std::size_t index, OutputReport& report) -> Result<void> {
    const Result<ListedMessage> message = list.row(index);
    if (!message) return Failure{message.error()};
    if (message->date.empty()) return {};
    Result<void> done = carry(*message);
    if (done) ++report.messages;
    return done;
  });
}

}  // namespace

Result<OutputReport> exportPdf(const OutputContext& context, const MessageList& list,
                               const PdfLayout& layOut, const std::string& path) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  PdfBook book(file, list.size > 1);
  std::string title = "Keldane Pro";
  const auto report = carryRows(context, list, [&](const ListedMessage& message) -> Result<void> {
    if (list.size == 1 && !message.subject.empty()) title = message.subject;
    Result<void> added = addMessage(context, message, layOut, book);
    // `commit` tells what has failed.
    return file.hasFailed() ? file.commit() : added;
  });
  if (!report || report->cancelled) return report;
  if (report->messages == 0) return Failure{"there is no message to make a PDF of"};
  if (const Result<void> ended = book.finish(title); !ended) return Failure{ended.error()};
  if (const Result<void> written = file.commit(); !written) return Failure{written.error()};
  return report;
}

Result<OutputReport> exportPdfFolder(const OutputContext& context, const MessageList& list,
                                     const PdfLayout& layOut, const std::string& folder) {
  if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  return carryRows(context, list, [&](const ListedMessage& message) {
    return writeOne(context, message, layOut, folder);
  });
}

bool namesFolder(const std::string& path) { return path.ends_with('/') || isDirectory(path); }

}  // namespace keldane

#include "ingest/message_reader.h"

#include <initializer_list>

#include "base/files.h"
#include "base/text.h"
#include "ingest/attachment_collector.h"
#include "ingest/mbox_reader.h"

namespace keldane {
namespace {

/// Of a source longer than this nothing is kept beyond its use.
constexpr std::size_t kLargeBytes = 1U << 20U;
constexpr int kProgressStep = 2;

constexpr std::string_view kPropertyList = "property list";
constexpr std::string_view kOversized = "over 200,000,000 characters";
constexpr std::string_view kNotAMessage = "no sender, recipients or subject";

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

bool isInAttachments(std::string_view path) { return holds(path, "/Attachments/"); }

/// The header block; none when the text begins with it empty.
std::string_view headingsOf(std::string_view text) {
  const std::size_t end = text.find("\n\n");
  return end == std::string_view::npos || end <= 1 ? std::string_view() : text.substr(0, end);
}

bool isLonger(std::string_view text, std::size_t units) {
  // No character takes more units than bytes.
  return text.size() > units && utf16Length(text) > units;
}

/// Where the text behind the first blank line begins; npos when there is none. The engine's texts
/// have CR LF line ends.
std::size_t behindBlankLine(std::string_view body) {
  for (std::size_t end = body.find('\n'); end != std::string_view::npos;
       end = body.find('\n', end + 1)) {
    const std::string_view rest = body.substr(end + 1);
    if (rest.starts_with('\n')) return end + 2;
    if (rest.starts_with("\r\n")) return end + 3;
  }
  return std::string_view::npos;
}

void appendAddress(std::string& list, const std::optional<std::string>& address) {
  if (address) list.append(*address).append(",");
}

}  // namespace

int MessageReader::doOneEmail(const std::string& currentEmailItem) {
  const EmailItem item = splitEmailItem(currentEmailItem);
  if (item.path.empty()) return 0;
  if (item.path.ends_with(".plist")) {
    context_.ledger.notMail(item.path, kPropertyList);
    return 0;
  }
  const bool several =
      context_.sources.importMode && !item.path.ends_with(".emlx") && !item.path.ends_with(".eml");
  if (!several && isInAttachments(item.path)) {
    // It counts as a file read, though its content would be of no use.
    if (context_.process.debugLogOn && fileExists(item.path)) context_.debugLog(item.path + "\n");
    context_.ledger.notMail(item.path, "attachment of a message");
    return 0;
  }
  partial_.forget();
  context_.message.currentPath = item.path;
  if (several) {
    readSeveral(item);
  } else {
    readOneMessage(item);
  }
  return 1;
}

void MessageReader::readOneMessage(const EmailItem& item) {
  context_.ledger.message(item.path, std::nullopt);
  guarded([this, &item] {
    Result<std::string> text = readMessageFile(item.path);
    if (!text) return dropUnreadable(text.error());
    if (context_.process.debugLogOn) context_.debugLog(item.path + "\n");
    if (holds(item.path, "partial")) partial_.repair(item.path, *text);
    readMessage(std::move(*text), accountMailbox(item.mailbox));
  });
}

void MessageReader::readSeveral(const EmailItem& item) {
  std::vector<MessagePiece> pieces;
  guarded([this, &item, &pieces] {
    context_.ledger.message(item.path, 0);
    Result<std::vector<MessagePiece>> read = readSeveralMessages(item.path);
    if (!read) return dropUnreadable(read.error());
    if (context_.process.debugLogOn) context_.debugLog(item.path + "\n");
    pieces = std::move(*read);
  });
  const std::string mailbox = accountMailbox(item.mailbox);
  bool isFirst = true;
  for (MessagePiece& piece : pieces) {
    if (isLetGo()) return;
    if (!isFirst) context_.ledger.message(item.path, piece.offsetBytes);
    guarded([this, &piece, &mailbox, isFirst] {
      // A file that is no mbox after all begins with its message.
      if (!isFirst || piece.text.starts_with("From ")) deleteFirstLine(piece.text);
      readMessage(std::move(piece.text), mailbox);
    });
    isFirst = false;
  }
}

int MessageReader::doMboxFile(const std::string& currentEmailItem) {
  const EmailItem item = splitEmailItem(currentEmailItem);
  if (isInAttachments(currentEmailItem)) {
    context_.ledger.notMail(item.path, "attachment of a message");
    return 0;
  }
  for (const std::string_view ending : {".plist", ".zip", ".pdf"}) {
    if (!item.path.ends_with(ending)) continue;
    context_.ledger.notMail(item.path, ending == ".plist" ? kPropertyList : "archive or document");
    return 1;
  }
  partial_.forget();
  context_.message.msgMailbox = item.path;
  context_.message.currentPath = item.path;
  MboxReader mbox(item.path);
  const Result<bool> opened = mbox.open();
  if (!opened) {
    context_.ledger.message(item.path, std::nullopt);
    dropUnreadable(opened.error());
    return 1;
  }
  bool isEmpty = true;
  while (*opened && !isLetGo()) {
    std::optional<MessagePiece> piece = mbox.next();
    if (!piece) break;
    isEmpty = false;
    context_.ledger.message(item.path, piece->offsetBytes);
    guarded([this, &piece, &item] {
      deleteFirstLine(piece->text);
      readMessage(std::move(piece->text), item.path);
    });
  }
  if (!mbox.failure().empty()) {
    context_.ledger.message(item.path, std::nullopt);
    dropUnreadable(mbox.failure());
  } else if (isEmpty && !isLetGo()) {
    context_.ledger.notMail(item.path, "no message in it");
  }
  return 1;
}

void MessageReader::readMessage(std::string text, const std::string& mailbox) {
  if (const auto reason = fillMessage(std::move(text), mailbox)) {
    context_.ledger.close(LedgerOutcome::dropped, *reason);
  } else {
    context_.storeEmail(static_cast<int>(context_.message.msgParts.size()));
  }
  releaseLargeMessage();
}

std::optional<std::string_view> MessageReader::fillMessage(std::string text,
                                                           const std::string& mailbox) {
  CurrentMessage& message = context_.message;
  message.clearForNextMessage();
  if (isLonger(text, context_.mostUnits)) {
    showOversized();
    return kOversized;
  }
  message.msgOriginal = std::move(text);
  loadEmail();
  message.msgMailbox = mailbox;
  fillAddresses();
  if (const auto reason = fillDate()) return reason;
  showProgress();
  if (!fillBodies()) return kNotAMessage;
  if (context_.settings.attachState != 0) {
    const AttachmentLimits limits{context_.settings.largeAttachState != 0,
                                  context_.attachSizeBytes};
    collectAttachments(*email_, limits, partial_, message);
  }
  copyHtml();
  return std::nullopt;
}

/// Strips the source and gives it to the engine. At most one tree of the message is held with the
/// source when it returns, and one text beside it meanwhile.
void MessageReader::loadEmail() {
  CurrentMessage& message = context_.message;
  {
    std::string scratch;
    const std::string_view text = strippedMessage(message.msgOriginal, scratch, message.tags);
    message.msgHeadings = headingsOf(text);
    static_cast<void>(mime_->LoadMime(text));  // what it cannot load gives an empty message
  }
  dateField_ = mime_->GetHeaderField("Date");
  receivedField_ = mime_->GetHeaderField("received");
  const std::optional<std::string> mimeText = mime_->GetMime();
  if (message.msgOriginal.size() > kLargeBytes) mime_.emplace();
  static_cast<void>(email_->SetFromMimeText(mimeText ? std::string_view(*mimeText) : ""));
}

void MessageReader::fillAddresses() {
  CurrentMessage& message = context_.message;
  message.msgFrom = email_->From().value_or("");
  replaceAll(message.msgFrom, "\r\n", " ");
  const int numTo = email_->NumTo();
  for (int i = 0; i < numTo; ++i) appendAddress(message.msgTo, email_->GetTo(i));
  const int numCC = email_->NumCC();
  for (int i = 0; i < numCC; ++i) appendAddress(message.msgTo, email_->GetCC(i));
  if (!message.msgTo.empty()) message.msgTo.pop_back();
  message.msgSubject = email_->Subject().value_or("");
  // Bytes that are no UTF-8 would come back from the database as something else, or end the text
  // there: the message would be no duplicate of itself.
  for (std::string* text : {&message.msgFrom, &message.msgTo, &message.msgSubject}) {
    repairUtf8(*text);
  }
}

std::optional<std::string_view> MessageReader::fillDate() {
  DateSources sources;
  if (const auto date = email_->GetDt()) sources.sent = date->GetAsDateTime(1);
  sources.hasSender = !context_.message.msgFrom.empty();
  sources.header = [this](std::string_view name) {
    return name == "Date" ? dateField_ : receivedField_;
  };
  return settleDate(sources, context_.range, context_.environment.now(), context_.message.msgDate);
}

void MessageReader::showProgress() {
  context_.progress.setDetail(context_.message.msgDate, context_.message.msgSubject);
  context_.progress.doProgressCount(++context_.counters.progressCount, kProgressStep);
}

/// False when nothing speaks for a message.
bool MessageReader::fillBodies() {
  CurrentMessage& message = context_.message;
  std::optional<std::string> plain;
  if (email_->HasPlainTextBody()) plain = email_->GetPlainTextBody();
  if (plain) message.msgBody = std::move(*plain);
  repairUtf8(message.msgBody);
  const std::size_t secondParagraph = behindBlankLine(message.msgBody);
  if (message.msgFrom.empty() && message.msgTo.empty() && message.msgSubject.empty() &&
      secondParagraph == std::string::npos) {
    return false;
  }
  // Kept: the first paragraph of a plain body is no part of what is searched and compared.
  if (secondParagraph != std::string::npos) message.msgBody.erase(0, secondParagraph);
  if (email_->HasHtmlBody()) message.msgHtml = email_->GetHtmlBody().value_or("");
  hasPlainBody_ = plain.has_value();
  message.hasHtmlPart = !message.msgHtml.empty();
  if (message.hasHtmlPart) message.msgParts.push_back({"text/html", "htmlversion.html", ""});
  return true;
}

/// The HTML text into the other places that have it. Last of all, when the engine's tree of a huge
/// message, which is no longer needed, has made room.
void MessageReader::copyHtml() {
  CurrentMessage& message = context_.message;
  if (message.msgOriginal.size() > kLargeBytes) email_.emplace();
  if (message.hasHtmlPart) message.msgParts.front().data = message.msgHtml;
  if (hasPlainBody_) return;
  message.msgBody = message.msgHtml;
  repairUtf8(message.msgBody);
}

std::string MessageReader::accountMailbox(const std::string& mailbox) const {
  for (const MailAccount& account : context_.sources.mailAccounts) {
    std::string_view id = account.path;
    for (char version = '2'; version <= '8'; ++version) {
      const std::string prefix = std::string("~/Library/Mail/V") + version + "/";
      if (id.starts_with(prefix)) id.remove_prefix(prefix.size());
    }
    const std::size_t at =
        id.empty() || account.name.empty() ? std::string::npos : mailbox.find(id);
    if (at != std::string::npos) return std::string(mailbox).replace(at, id.size(), account.name);
  }
  return mailbox;
}

void MessageReader::showOversized() {
  // Queued: the run goes on while the user reads.
  context_.mainQueue.post([&ui = context_.ui] {
    ui.alert({.title = "Max Size Exceeded",
              .text = "This email exceeds the MySQL maximum allowed size and will be skipped.",
              .buttons = {"Continue"}});
  });
}

/// What a huge message has filled would otherwise lie beside the next one while that is read.
void MessageReader::releaseLargeMessage() {
  if (context_.message.msgOriginal.size() <= kLargeBytes) return;
  context_.message.clearForNextMessage();
  email_.emplace();  // a dropped one still has its tree
}

void MessageReader::dropUnreadable(const std::string& reason) {
  if (context_.storeLog) context_.storeLog("Unable to read file: " + printable(reason) + "\n");
  context_.ledger.close(LedgerOutcome::dropped, "unreadable file: " + reason);
}

void MessageReader::guarded(const std::function<void()>& work) {
  if (context_.guarded) {
    context_.guarded(work);
  } else {
    work();
  }
}

}  // namespace keldane

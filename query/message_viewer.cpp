#include "query/message_viewer.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "base/shown_text.h"
#include "base/text.h"
#include "mime/mail_source.h"
#include "query/header_block.h"
#include "query/message_text.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastOrigUnits = 2;     ///< for the window of the raw source
constexpr std::size_t kLeastHtmlUnits = 300;   ///< a shorter HTML is not the one in the attachment
constexpr std::size_t kUnitsBeforeHtml = 200;  ///< within which the fields of a message text end
constexpr std::size_t kAttachColumn = 7;
constexpr std::string_view kAttachmentsWord = "ATTACHMENTS:";
constexpr std::string_view kOrigTitle = "Original Raw Source";
constexpr const char* kNoSourceText =
    "There is no original raw source for this email in the database.";

void deleteOnce(std::string& text, std::string_view word) {
  const std::size_t at = text.find(word);
  if (at != std::string::npos) text.erase(at, word.size());
}

/// The last so many UTF-16 units of a text.
std::string_view lastUnits(std::string_view text, std::size_t units) {
  std::size_t at = text.size();
  while (at > 0 && units > 0) {
    --at;
    const auto byte = static_cast<unsigned char>(text[at]);
    if ((byte & 0xC0U) == 0x80) continue;  // inside a character
    units -= byte >= 0xF0 && units > 1 ? 2 : 1;
  }
  return text.substr(at);
}

bool hasAtLeast(std::string_view text, std::size_t units) {
  // No character takes more than four bytes.
  return text.size() >= 4 * units || utf16Length(text) >= units;
}

void printSqlError(const std::string& error) {
  std::fputs(fmt::format("SQL error: {}\n", error).c_str(), stderr);
}

/// What stands below the headers.
std::string withoutHeaders(const std::string& text) {
  const std::size_t end = text.find("\n\n");
  return end == std::string::npos ? text : text.substr(end + 2);
}

}  // namespace

/// A raw source that has been read.
struct MessageViewer::Source {
  std::string text;  ///< stripped
  bool isLongEnough = false;
  mime::MailSource message;
  std::optional<std::string> html;
};

MessageViewer::MessageViewer(ServerSession& session, ResultList& list, UserInterface& ui)
    : session_(session), list_(list), ui_(ui), sources_(session) {}

void MessageViewer::setCallbacks(Callbacks callbacks) {
  callbacks_ = std::move(callbacks);
  sources_.setCallbacks({callbacks_.stripPlist, callbacks_.declaredCharsets,
                         [this](const std::string& sql) { return query(sql); }});
}

/// Opening the database sends the whole sequence of the schema, ten times the cost of a message.
/// The list has come over this session, so it is opened only when the session turns out to be lost.
bool MessageViewer::query(const std::string& sql) {
  if (session_.query(sql)) return true;
  if (!isLostConnection(session_.error()) || !callbacks_.openDatabase) return false;
  callbacks_.openDatabase();
  return session_.query(sql);
}

bool MessageViewer::isSessionTaken() const {
  return callbacks_.isSessionTaken && callbacks_.isSessionTaken();
}

const Emailrow* MessageViewer::selectedMessage() const {
  const auto row = static_cast<std::size_t>(std::max(selection.selectedRow, 0));
  return row < list_.emailRows.size() ? &list_.emailRows[list_.modelIndex(row)] : nullptr;
}

void MessageViewer::tableViewSelectionDidChange() {
  views.sizeTextField.clear();
  views.bodyTextView.clear();
  views.attachmentView = {};
  for (const char* control : {"sizeTextField", "bodyTextView", "attachmentView"}) {
    ui_.changed(control);
  }
  if (list_.emailRows.empty()) return;
  showButtons();
  const Emailrow* message = selectedMessage();
  if (message != nullptr) showMessage(message->emailID, message->emailDate);
}

void MessageViewer::showButtons() {
  const bool one = selection.numberOfSelectedRows == 1;
  views.textButtonTitle = "Text";
  views.textButtonEnabled = views.replyToButtonEnabled = views.forwardButtonEnabled = one;
  views.tagButtonEnabled = selection.numberOfSelectedRows > 0;
  list_.messageButtonsEnabled = views.tagButtonEnabled;
  if (!one) ui_.closePanel("origWindow");
  for (const char* control : {"textButton", "replyToButton", "forwardButton", "tagButton"}) {
    ui_.changed(control);
  }
}

bool MessageViewer::showMessage(std::uint32_t id, const std::string& date) {
  views.htmlShowing = false;
  views.htmlText.clear();
  views.htmlFile.clear();
  views.attachmentView = {};
  views.sizeTextField.clear();
  messageText.clear();
  attachOwnerId = 0;
  ui_.changed("mySplitView");
  listDate = date;
  removeAll(listDate, "*");
  if (isSessionTaken()) return false;

  Result<std::string> raw = fetchRawSource(id);
  if (!raw) printSqlError(raw.error());
  const bool origIsOpen = ui_.isPanelVisible("origWindow");
  const Result<std::string> orig = origIsOpen ? raw : Result<std::string>("");
  {
    Source source;
    readSource(id, raw ? std::move(*raw) : std::string(), source);
    const std::optional<std::string> whole =
        source.isLongEnough ? wholePlainText(source.message.email()) : std::nullopt;
    if (source.html && source.isLongEnough) {
      showHtml(composedHtml(source));
      if (!loadMessageText(id, whole)) return false;
    } else {
      std::string text = withoutHeaders(source.text);
      deleteOnce(text, kAttachmentsWord);
      if (callbacks_.stripPlist) callbacks_.stripPlist(text);
      showText(text);
      if (!loadMessageText(id, whole)) return false;
      showText(messageText);
    }
    if (ui_.isPanelVisible("tagPanel") && callbacks_.setTags) callbacks_.setTags();
    showStoredHtml(source.html);
  }
  if (attachOwnerId != 0) displayAttachments();
  showSize(id);
  if (origIsOpen) showOrig(orig, "No Raw Source");
  return true;
}

/// What is read goes on without a source that could not be had.
std::string MessageViewer::sourceOrNone(std::uint32_t id) {
  Result<std::string> raw = fetchRawSource(id);
  if (raw) return std::move(*raw);
  printSqlError(raw.error());
  return {};
}

void MessageViewer::readSource(std::uint32_t id, std::string raw, Source& source) {
  source.text = std::move(raw);
  source.isLongEnough = isSource(source.text);
  sources_.read(id, source.text, source.message);
  source.html = source.message.email().GetHtmlBody();
  if (source.html && source.html->empty()) source.html.reset();
  // A part that calls itself ASCII and is not may come out of the engine as the bytes it has.
  if (source.html && !isValidUtf8(*source.html)) source.html = latin1ToUtf8(*source.html);
}

std::string MessageViewer::composedHtml(Source& source) {
  HeaderDate date;
  date.listDate = listDate;
  date.now = callbacks_.now ? callbacks_.now() : 0;
  date.dateFormat = callbacks_.dateFormat ? callbacks_.dateFormat() : 0;
  date.parseDate = callbacks_.parseDate;
  return headerBlockHtml(readHeaderBlock(source.message.email(), date)) + *source.html;
}

bool MessageViewer::loadMessageText(std::uint32_t id, const std::optional<std::string>& whole) {
  const std::string sql = messageRowSql(id);
  const bool sent = query(sql);
  const auto rows = sent ? session_.storeResult() : nullptr;
  if (!rows) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return false;
  }
  if (!rows->next()) return false;
  messageText = formatMessageText(*rows, listDate, false, whole);
  if (rows->cell(kAttachColumn)) attachOwnerId = id;
  return true;
}

void MessageViewer::showText(std::string_view text) {
  views.bodyTextView = shownText(text);
  ui_.changed("bodyTextView");
}

void MessageViewer::showHtml(std::string html) {
  views.htmlText = std::move(html);
  views.htmlFile.clear();
  if (webView_ != nullptr) webView_->loadHtml(views.htmlText);
  showWebView();
}

void MessageViewer::showWebView() {
  views.htmlShowing = true;
  ui_.changed("mySplitView");
  ui_.changed("viewRawItem");
}

/// A message without an HTML part whose stored body is an HTML document all the same.
void MessageViewer::showStoredHtml(const std::optional<std::string>& html) {
  const std::optional<std::size_t> begin = findNoCase(messageText, "<html");
  if (!begin) return;
  const std::string_view before =
      lastUnits(std::string_view(messageText).substr(0, *begin), kUnitsBeforeHtml);
  if (before.find("MAILBOX:") == std::string_view::npos) return;
  if (!findNoCase(views.bodyTextView, "</html>")) return;
  std::string stored = views.bodyTextView;
  deleteOnce(stored, kAttachmentsWord);
  const std::size_t at = findNoCase(stored, "<html").value_or(0);
  // One character before it stays: the line end above the document.
  stored.erase(0, at - std::min<std::size_t>(at, 1));
  showHtml(html ? *html : std::move(stored));
}

void MessageViewer::displayAttachments() {
  attachments.clear();
  const std::string sql =
      fmt::format("SELECT filename_fld FROM attachments WHERE id={}", attachOwnerId);
  if (!query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return;
  }
  static_cast<void>(attachments.loadAttachmentRows(session_));
  const std::string folder = callbacks_.attachmentFolder ? callbacks_.attachmentFolder() : "";
  views.attachmentView = makeAttachmentStrip(attachments.attachFields, views.htmlShowing, folder);
  ui_.changed("attachmentView");
}

void MessageViewer::showSize(std::uint32_t id) {
  std::string length;
  if (query(fmt::format("SELECT length(orig_fld) FROM origemail WHERE id={}", id))) {
    length = fetchFirstCell(session_);
  }
  views.sizeTextField = formatSizeText(length);
  ui_.changed("sizeTextField");
}

void MessageViewer::showOrig(const Result<std::string>& raw, std::string_view alertTitle) {
  if (!raw) {
    ui_.alert(
        {"SQL Error", fmt::format("SQL error: {}", raw.error()), AlertStyle::critical, {"OK"}});
    return;
  }
  if (!hasAtLeast(*raw, kLeastOrigUnits)) {
    ui_.alert({std::string(alertTitle), kNoSourceText});
    return;
  }
  views.origTextView = toUtf8(*raw);
  ui_.setWindowTitle("origWindow", kOrigTitle);
  ui_.changed("origTextView");
  ui_.showPanel("origWindow");
}

void MessageViewer::viewText() {
  if (views.textButtonTitle == "HTML") return tableViewSelectionDidChange();
  const Emailrow* message = selectedMessage();
  if (message == nullptr) return;
  views.textButtonTitle = "HTML";
  ui_.changed("textButton");
  // The strip stays as it was: beside the text it still leaves the HTML versions out.
  showStoredText(message->emailID, message->emailDate);
  if (ui_.isPanelVisible("tagPanel") && callbacks_.setTags) callbacks_.setTags();
}

bool MessageViewer::showStoredText(std::uint32_t id, const std::string& date) {
  views.htmlShowing = false;
  ui_.changed("viewRawItem");
  ui_.changed("mySplitView");
  attachOwnerId = 0;
  listDate = date;
  removeAll(listDate, "*");
  if (isSessionTaken()) return false;
  const Result<std::optional<std::string>> whole = sources_.wholeText(id);
  if (!whole) printSqlError(whole.error());
  if (!loadMessageText(id, whole ? *whole : std::nullopt)) return false;
  showText(messageText);
  return true;
}

void MessageViewer::viewOrig() {
  const Emailrow* message = selectedMessage();
  if (message == nullptr || isSessionTaken()) return;
  // The two alerts are told apart by their titles.
  showOrig(fetchRawSource(message->emailID), "No raw source");
}

void MessageViewer::clearMessageViews() {
  views.bodyTextView.clear();
  views.htmlText.clear();
  views.htmlFile.clear();
  views.attachmentView = {};
  views.sizeTextField.clear();
  attachOwnerId = 0;
  if (webView_ != nullptr) webView_->loadHtml("");
  if (!list_.messageButtonsEnabled) {
    views.textButtonEnabled = views.replyToButtonEnabled = false;
    views.forwardButtonEnabled = views.tagButtonEnabled = false;
    ui_.changed("textButton");
  }
  for (const char* control : {"sizeTextField", "bodyTextView", "attachmentView", "myHtmlWebView"}) {
    ui_.changed(control);
  }
}

void MessageViewer::showHtmlVersion(const std::string& path) {
  if (isSessionTaken()) return;
  Source source;
  readSource(attachOwnerId, sourceOrNone(attachOwnerId), source);
  if (source.html && hasAtLeast(*source.html, kLeastHtmlUnits)) {
    showHtml(composedHtml(source));
    return;
  }
  views.htmlText.clear();
  views.htmlFile = path;
  if (webView_ != nullptr) webView_->loadFile(path);
  showWebView();
}

}  // namespace keldane

#include "app/panels/message_viewer.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "query/message_tags.h"
#include "query/message_text.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastOrigUnits = 2;  ///< for the window of the raw source
constexpr std::string_view kOrigTitle = "Original Raw Source";
constexpr const char* kNoSourceText =
    "There is no original raw source for this email in the database.";

/// A message text below its fields; a text without them as it stands.
std::string_view withoutFields(std::string_view text) {
  constexpr std::string_view kLastField = "\nMAILBOX: ";
  if (!text.starts_with("ID: ")) return text;
  const std::size_t field = text.find(kLastField);
  const std::size_t end = field == std::string_view::npos ? field : text.find("\n\n", field);
  return end == std::string_view::npos ? text : text.substr(end + 2);
}

/// Another program may have deleted it since the list was made.
std::string reasonForNothing(const std::string& error) {
  return error.empty() ? "This email is no longer in the archive."
                       : "This email cannot be shown: " + error;
}

void printSqlError(const std::string& error) {
  std::fputs(fmt::format("SQL error: {}\n", error).c_str(), stderr);
}

}  // namespace

StoredSources MessageViewer::sources() const {
  return {context_.session, sourceReading(context_.settings)};
}

HeaderDate MessageViewer::headerDate() const {
  return keldane::headerDate(context_.settings, context_.environment, listDate);
}

/// Opening the database sends the whole sequence of the schema, ten times the cost of a message.
/// The list has come over this session, so it is opened only when the session turns out to be lost.
Result<std::string> MessageViewer::fetchSource(std::uint32_t id) {
  Result<std::string> source = sources().fetch(id);
  if (source || !isLostConnection(source.error())) return source;
  context_.openDatabase();
  return sources().fetch(id);
}

const Emailrow* MessageViewer::selectedMessage() const {
  const auto row = static_cast<std::size_t>(std::max(selection.selectedRow, 0));
  return row < context_.table.emailRows.size()
             ? &context_.table.emailRows[context_.table.modelIndex(row)]
             : nullptr;
}

void MessageViewer::tableViewSelectionDidChange() {
  views.sizeTextField.clear();
  views.bodyTextView.clear();
  views.attachmentView = {};
  for (const char* control : {"sizeTextField", "bodyTextView", "attachmentView"}) {
    context_.ui.changed(control);
  }
  if (context_.table.emailRows.empty()) return;
  showButtons();
  const Emailrow* message = selectedMessage();
  if (message != nullptr) showMessage(*message);
}

void MessageViewer::showButtons() {
  const bool one = selection.numberOfSelectedRows == 1;
  views.textButtonTitle = "Text";
  views.textButtonEnabled = views.replyToButtonEnabled = views.forwardButtonEnabled = one;
  views.tagButtonEnabled = selection.numberOfSelectedRows > 0;
  context_.table.messageButtonsEnabled = views.tagButtonEnabled;
  if (!one) context_.ui.closePanel("origWindow");
  for (const char* control : {"textButton", "replyToButton", "forwardButton", "tagButton"}) {
    context_.ui.changed(control);
  }
}

void MessageViewer::beginMessage(const Emailrow& message) {
  views.htmlShowing = false;
  attachOwnerId = 0;
  inlineImages_.clear();
  inlineImagesOf_ = 0;
  headOf_ = 0;
  listDate = plainDate(message);
  context_.ui.changed("mySplitView");
}

void MessageViewer::refreshTags() {
  if (context_.ui.isPanelVisible("tagPanel") && context_.setTags) context_.setTags();
}

/// By value: a link that is lost meanwhile may bring another list.
void MessageViewer::showMessage(Emailrow message) {
  const std::uint32_t id = message.emailID;
  beginMessage(message);
  views.htmlText.clear();
  views.htmlFile.clear();
  messageText.clear();
  head = {};
  if (context_.isSessionTaken()) return;

  Result<std::string> raw = fetchSource(id);
  if (!raw) printSqlError(raw.error());
  const bool origIsOpen = context_.ui.isPanelVisible("origWindow");
  const Result<std::string> orig = origIsOpen ? raw : Result<std::string>("");
  MessageContent content =
      sources().readMessage(id, raw ? std::move(*raw) : std::string(), headerDate());
  if (!content.error.empty()) printSqlError(content.error);
  fillHead(message, content);
  if (content.html && headIsShown) content.html->erase(0, content.headerBlockBytes);
  if (!content.messageText) {
    // Without its row the message shows as far as its source goes.
    if (content.html) return showHtml(std::move(*content.html));
    return showText(content.sourceText.empty() ? reasonForNothing(content.error)
                                               : content.sourceText);
  }
  messageText = std::move(*content.messageText);
  attachOwnerId = id;
  if (content.html) {
    showHtml(std::move(*content.html));
  } else {
    showText(messageText);
  }
  refreshTags();
  displayAttachments();
  showSize(id);
  if (origIsOpen) showOrig(orig, "No Raw Source");
}

void MessageViewer::fillHead(const Emailrow& message, const MessageContent& content) {
  head.from = message.emailFrom;
  head.to = message.emailTo;
  head.cc = content.header.cc;
  head.subject = message.emailSubject;
  head.date = content.sentDate.empty() ? listDate : content.sentDate;
  head.mailbox = message.emailMailbox;
  headOf_ = message.emailID;
  if (headIsShown) fillTags(message.emailID);
  context_.ui.changed("messageHead");
}

void MessageViewer::readTagsAgain() {
  if (!headIsShown || headOf_ == 0) return;
  fillTags(headOf_);
  context_.ui.changed("messageHead");
}

void MessageViewer::fillTags(std::uint32_t id) {
  head.tags.clear();
  head.notes.clear();
  const auto found = readTags(context_.session, {id});
  if (!found) return printSqlError(found.error());
  const auto tags = found->find(id);
  if (tags == found->end()) return;
  const TagRow& row = tags->second;
  if (!row.category.empty()) head.tags.push_back(row.category);
  for (std::string& word : wordsOf(row.keywords)) head.tags.push_back(std::move(word));
  if (row.priority != 0) head.tags.emplace_back(priorityTitle(row.priority));
  head.notes = row.notes;
}

void MessageViewer::showText(std::string_view text) {
  if (headIsShown) text = withoutFields(text);
  views.bodyTextView = shownText(text);
  context_.ui.changed("bodyTextView");
}

void MessageViewer::showHtml(std::string html) {
  views.htmlText = std::move(html);
  views.htmlFile.clear();
  if (webView_ != nullptr) webView_->loadHtml(views.htmlText);
  showWebView();
}

const InlineImage* MessageViewer::findInlineImage(std::string_view contentId) {
  if (attachOwnerId == 0 || context_.isSessionTaken()) return nullptr;
  if (inlineImagesOf_ != attachOwnerId) {
    Result<std::vector<InlineImage>> found = sources().inlineImages(attachOwnerId);
    if (!found) printSqlError(found.error());
    inlineImages_ = found ? std::move(*found) : std::vector<InlineImage>();
    inlineImagesOf_ = attachOwnerId;
  }
  const auto image =
      std::find_if(inlineImages_.begin(), inlineImages_.end(),
                   [&](const InlineImage& one) { return one.contentId == contentId; });
  return image == inlineImages_.end() ? nullptr : &*image;
}

void MessageViewer::showWebView() {
  views.htmlShowing = true;
  context_.ui.changed("mySplitView");
  context_.ui.changed("viewRawItem");
}

void MessageViewer::displayAttachments() {
  attachments.clear();
  const std::string sql =
      fmt::format("SELECT filename_fld FROM attachments WHERE id={}", attachOwnerId);
  if (!context_.session.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", context_.session.error(), sql).c_str(), stderr);
    return;
  }
  static_cast<void>(attachments.loadAttachmentRows(context_.session));
  views.attachmentView =
      makeAttachmentStrip(attachments.attachFields, views.htmlShowing, context_.process.workFolder);
  context_.ui.changed("attachmentView");
}

void MessageViewer::showSize(std::uint32_t id) {
  std::string length;
  if (context_.session.query(
          fmt::format("SELECT length(orig_fld) FROM origemail WHERE id={}", id))) {
    length = fetchFirstCell(context_.session);
  }
  views.sizeTextField = formatSizeText(length);
  context_.ui.changed("sizeTextField");
}

void MessageViewer::showOrig(const Result<std::string>& raw, std::string_view alertTitle) {
  if (!raw) {
    context_.ui.alert(
        {"SQL Error", fmt::format("SQL error: {}", raw.error()), AlertStyle::critical, {"OK"}});
    return;
  }
  if (utf16Length(*raw) < kLeastOrigUnits) {
    context_.ui.alert({std::string(alertTitle), kNoSourceText});
    return;
  }
  views.origTextView = toUtf8(*raw);
  context_.ui.setWindowTitle("origWindow", kOrigTitle);
  context_.ui.changed("origTextView");
  context_.ui.showPanel("origWindow");
}

void MessageViewer::viewText() {
  if (views.textButtonTitle == "HTML") return tableViewSelectionDidChange();
  const Emailrow* selected = selectedMessage();
  if (selected == nullptr) return;
  const Emailrow message = *selected;
  views.textButtonTitle = "HTML";
  context_.ui.changed("textButton");
  context_.ui.changed("viewRawItem");
  // The strip stays as it was: beside the text it still leaves the HTML versions out.
  beginMessage(message);
  if (!context_.isSessionTaken()) {
    Result<std::string> text = sources().textForReader(message.emailID, listDate, false);
    if (!text && isLostConnection(text.error())) {
      context_.openDatabase();
      text = sources().textForReader(message.emailID, listDate, false);
    }
    if (text) {
      messageText = *text;
      attachOwnerId = message.emailID;
      showText(messageText);
    } else {
      printSqlError(text.error());
    }
  }
  refreshTags();
}

void MessageViewer::viewOrig() {
  const Emailrow* message = selectedMessage();
  if (message == nullptr || context_.isSessionTaken()) return;
  // The two alerts are told apart by their titles.
  showOrig(fetchSource(message->emailID), "No raw source");
}

void MessageViewer::clearMessageViews() {
  views.bodyTextView.clear();
  views.htmlText.clear();
  views.htmlFile.clear();
  views.attachmentView = {};
  views.sizeTextField.clear();
  head = {};
  attachOwnerId = 0;
  if (webView_ != nullptr) webView_->loadHtml("");
  if (!context_.table.messageButtonsEnabled) {
    views.textButtonEnabled = views.replyToButtonEnabled = false;
    views.forwardButtonEnabled = views.tagButtonEnabled = false;
    context_.ui.changed("textButton");
  }
  for (const char* control :
       {"sizeTextField", "bodyTextView", "attachmentView", "myHtmlWebView", "messageHead"}) {
    context_.ui.changed(control);
  }
}

void MessageViewer::showHtmlVersion(const std::string& path) {
  if (context_.isSessionTaken()) return;
  const Result<std::string> source = fetchSource(attachOwnerId);
  if (!source) printSqlError(source.error());
  if (auto html = sources().readHtmlVersion(attachOwnerId, source ? *source : "", headerDate())) {
    return showHtml(std::move(*html));
  }
  views.htmlText.clear();
  views.htmlFile = path;
  if (webView_ != nullptr) webView_->loadFile(path);
  showWebView();
}

}  // namespace keldane

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "platform/user_interface.h"
#include "query/attachment_list.h"
#include "query/message_web_view.h"
#include "query/result_list.h"
#include "query/stored_source.h"

namespace keldane {

/// What is selected in the table of the list.
struct TableSelection {
  std::size_t numberOfSelectedRows = 0;
  int selectedRow = -1;  ///< row of the table selected last; -1: none
};

/// The controls under the list. One of the two views stands in the split view: the text view, or
/// while `htmlShowing` the web view. Texts are shown in the body font of the settings.
struct MessageViews {
  std::string bodyTextView;
  bool htmlShowing = false;
  std::string htmlText;  ///< what the web view has been given: a text, or
  std::string htmlFile;  ///< the path of a file
  AttachmentStrip attachmentView;
  std::string sizeTextField;
  std::string origTextView;
  std::string textButtonTitle = "Text";
  bool textButtonEnabled = false;
  bool replyToButtonEnabled = false;
  bool forwardButtonEnabled = false;
  bool tagButtonEnabled = false;
};

/// Shows the message that is selected in the list: as HTML or as text, rebuilt from its raw
/// source with the engine, or without one as the database has it; its attachments as links; its raw
/// source. In the text view nothing is left that could steer a view: it shows as U+FFFD.
/// Attachments are only named here, their bytes stay on the server.
///
/// A statement that fails leaves a line on standard error and the views as they are. Main thread;
/// does nothing while an archive run has the session.
class MessageViewer {
 public:
  struct Callbacks {
    /// Takes what the mail client has added off a raw source.
    std::function<void(std::string& source)> stripPlist;
    /// Whether parts are read in the charsets that they declare; empty: they are.
    std::function<bool()> declaredCharsets;
    /// Reads a date as people write it.
    std::function<std::optional<std::int64_t>(std::string_view text, std::int64_t now)> parseDate;
    std::function<std::int64_t()> now;
    std::function<int()> dateFormat;
    /// Readies the session, connecting again when it is lost, and opens the database.
    std::function<void()> openDatabase;
    std::function<bool()> isSessionTaken;
    std::function<std::string()> attachmentFolder;
    /// Shows the tags of the selected message in the tag panel, which is open.
    std::function<void()> setTags;
  };

  MessageViewer(ServerSession& session, ResultList& list, UserInterface& ui);
  void setCallbacks(Callbacks callbacks);
  /// The control that shows HTML; null: there is none, and `views` alone tells what it would show.
  void setWebView(MessageWebView* webView) { webView_ = webView; }

  /// The selection in the table of the list has changed to `selection`.
  void tableViewSelectionDidChange();
  /// The button that changes between text and HTML.
  void viewText();
  /// Shows the raw source of the selected message in its window.
  void viewOrig();
  /// The list is being replaced: empties the views.
  void clearMessageViews();
  /// Lists the attachments of `attachOwnerId` in the strip.
  void displayAttachments();
  /// Shows the message's HTML in place of an attachment that holds it; the file itself when the
  /// source has none worth the name.
  void showHtmlVersion(const std::string& path);

  // The same for a message that need not be in the list.
  /// False when it is not in the database, or a statement failed.
  bool showMessage(std::uint32_t id, const std::string& date);
  bool showStoredText(std::uint32_t id, const std::string& date);
  /// The raw source to the byte, unstripped; "0" for a message without one. Fails with the server's
  /// words.
  [[nodiscard]] Result<std::string> fetchRawSource(std::uint32_t id) { return sources_.fetch(id); }

  TableSelection selection;
  MessageViews views;
  std::string messageText;
  std::string listDate;  ///< of the message shown, as in the list
  AttachmentFields attachments;
  std::uint32_t attachOwnerId = 0;  ///< whose attachments the links are; 0: nobody's

 private:
  struct Source;
  [[nodiscard]] bool query(const std::string& sql);
  [[nodiscard]] const Emailrow* selectedMessage() const;
  void showButtons();
  void readSource(std::uint32_t id, std::string raw, Source& source);
  [[nodiscard]] std::string sourceOrNone(std::uint32_t id);
  [[nodiscard]] std::string composedHtml(Source& source);
  [[nodiscard]] bool loadMessageText(std::uint32_t id, const std::optional<std::string>& whole);
  void showText(std::string_view text);
  void showHtml(std::string html);
  void showWebView();
  void showStoredHtml(const std::optional<std::string>& html);
  void showSize(std::uint32_t id);
  void showOrig(const Result<std::string>& raw, std::string_view alertTitle);
  [[nodiscard]] bool isSessionTaken() const;

  ServerSession& session_;
  ResultList& list_;
  UserInterface& ui_;
  StoredSources sources_;
  Callbacks callbacks_;
  MessageWebView* webView_ = nullptr;
};

}  // namespace keldane

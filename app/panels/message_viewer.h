#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/panels/message_web_view.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "query/attachments.h"
#include "query/stored_source.h"
#include "settings/settings.h"

namespace keldane {

/// What is selected in the table of the list.
struct TableSelection {
  std::size_t numberOfSelectedRows = 0;
  int selectedRow = -1;  ///< row of the table selected last; -1: none
};

/// The message shown, as a face shows it above the text. The texts are a stranger's.
struct MessageHead {
  std::string from;
  std::string to;
  std::string cc;
  std::string date;  ///< with its zone, as the sender wrote it; that of the list without one
  std::string subject;
  std::string mailbox;
  /// Category, keywords, priority. These and the notes only where the face shows the head.
  std::vector<std::string> tags;
  std::string notes;
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
  struct Context {
    ServerSession& session;
    ResultTable& table;
    const UserSettings& settings;
    const ProcessState& process;  ///< its work folder is that of the links
    const Environment& environment;
    UserInterface& ui;
    /// Readies the session, connecting again when it is lost, and opens the database.
    std::function<void()> openDatabase;
    std::function<bool()> isSessionTaken;
    /// Shows the tags of the selected message in the tag panel, which is open.
    std::function<void()> setTags;
  };

  explicit MessageViewer(Context context) : context_(std::move(context)) {}
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
  /// The picture that the HTML of the message shown refers to; null when it has none of that name.
  /// Valid until another message is shown.
  [[nodiscard]] const InlineImage* findInlineImage(std::string_view contentId);
  /// Shows the message's HTML in place of an attachment that holds it; the file itself when the
  /// source has none worth the name.
  void showHtmlVersion(const std::string& path);
  /// Reads the tags above the message anew.
  void readTagsAgain();

  TableSelection selection;
  MessageViews views;
  /// Of the message shown; empty when there is none.
  MessageHead head;
  /// The face shows `head` above the message, so that text and HTML come without their own block.
  bool headIsShown = false;
  std::string messageText;
  std::string listDate;  ///< of the message shown, as in the list
  AttachmentFields attachments;
  std::uint32_t attachOwnerId = 0;  ///< whose attachments the links are; 0: nobody's

 private:
  [[nodiscard]] const Emailrow* selectedMessage() const;
  [[nodiscard]] StoredSources sources() const;
  [[nodiscard]] HeaderDate headerDate() const;
  [[nodiscard]] Result<std::string> fetchSource(std::uint32_t id);
  void showButtons();
  void beginMessage(const Emailrow& message);
  void showMessage(Emailrow message);
  void fillHead(const Emailrow& message, const MessageContent& content);
  void fillTags(std::uint32_t id);
  void showText(std::string_view text);
  void showHtml(std::string html);
  void showWebView();
  void showSize(std::uint32_t id);
  void showOrig(const Result<std::string>& raw, std::string_view alertTitle);
  void refreshTags();

  Context context_;
  MessageWebView* webView_ = nullptr;
  std::vector<InlineImage> inlineImages_;
  std::uint32_t inlineImagesOf_ = 0;  ///< 0: of no message
  std::uint32_t headOf_ = 0;          ///< the message whose head is shown; 0: of none
};

}  // namespace keldane

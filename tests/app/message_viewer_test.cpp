#include "app/panels/message_viewer.h"

#include "base/text.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kHtml = "<html><body onload='x()'><b>Hello</b></body></html>";
const std::string kHtmlSource =
    "From: Ann <ann@x.example>\nTo: bob@x.example\nSubject: =?utf-8?q?=3Cscript=3Ex()?=\n"
    "Date: Mon, 02 Jan 2006 22:04:05 +0000\nContent-Type: text/html\n\n" +
    kHtml + "\n";
const std::string kTextSource =
    "From: Ann <ann@x.example>\nTo: bob@x.example\nSubject: Hi\nContent-Type: text/plain\n\n"
    "Forty sunflowers.\r\n\r\nAll of them \x1B[2J up.\n";

class WebView : public MessageWebView {
 public:
  void loadHtml(const std::string& html) override { loaded.push_back(html); }
  void loadFile(const std::string& path) override { loaded.push_back("file://" + path); }
  std::vector<std::string> loaded;
};

class MessageViewerTest : public ::testing::Test, protected ScriptedPanels {
 protected:
  MessageViewerTest() {
    process.workFolder = "/work";
    viewer.setWebView(&webView);
    list.emailRows = {{5, 0, "2006-01-02 22:04:05*", "f5", "t", "s", "INBOX"},
                      {7, 1, "2006-01-03 22:04:05", "f7", "t", "s", "INBOX"}};
    answerSource(kHtmlSource);
    answerRow("stored body");
    answerNames({{"htmlversion.html"}, {"a.pdf"}});
    scripted.answerOn("query SELECT length(orig_fld)*", {{"2048"}});
  }
  void answerSource(const std::string& source) {
    scripted.answerOn("query SELECT orig_fld *", {{source}});
  }
  void answerRow(const std::string& body) {
    scripted.answerOn("query SELECT id,date_fld,*",
                      {{"5", "2006-01-02 22:04:05", "f", "t", "s", "INBOX", body, "1"}});
  }
  void answerNames(std::vector<ScriptedSession::Row> rows) {
    scripted.answerOn("query SELECT filename_fld *", std::move(rows));
  }
  void select(int row, std::size_t count = 1) {
    scripted.calls.clear();
    viewer.selection = {count, row};
    viewer.tableViewSelectionDidChange();
  }

  MessageViewer viewer{{session, list, settings.user, process, environment, ui,
                        [this] { scripted.calls.emplace_back("openDatabase"); },
                        [this] { return taken; },
                        [this] { scripted.calls.emplace_back("setTags"); }}};
  WebView webView;
  bool taken = false;
};

TEST_F(MessageViewerTest, ShowsHtmlAsItCameUnderAnEscapedBlock) {
  select(0);
  EXPECT_TRUE(viewer.views.htmlShowing);
  EXPECT_THAT(viewer.views.htmlText, StartsWith("<div style='padding-bottom: 20px;'>"));
  EXPECT_THAT(viewer.views.htmlText, HasSubstr("<b>Subject:</b> &lt;script&gt;x()</div>"));
  EXPECT_THAT(viewer.views.htmlText, Not(HasSubstr("<script")));
  EXPECT_THAT(viewer.views.htmlText, HasSubstr("</div></div></div>" + kHtml));
  EXPECT_THAT(webView.loaded, ElementsAre(viewer.views.htmlText));
  EXPECT_THAT(viewer.messageText, StartsWith("ID: 5\nDATE: 2006-01-02 22:04:05\nFROM: f\n"))
      << "without the star";
  EXPECT_EQ(viewer.views.bodyTextView, "");
  EXPECT_EQ(viewer.attachOwnerId, 5U);
  EXPECT_EQ(viewer.views.sizeTextField, "size: 2.0 KB");
  ASSERT_EQ(viewer.views.attachmentView.links.size(), 1U);
  EXPECT_EQ(viewer.views.attachmentView.links[0].path, "/work/1-KD-a.pdf");
}

TEST_F(MessageViewerTest, GivesTheWebViewUtf8WhateverThePartCallsItself) {
  for (const char* charset : {"us-ascii", "utf-8", "iso-8859-1", "no-such-charset"}) {
    answerSource(std::string("From: a@x.example\nContent-Type: text/html; charset=") + charset +
                 "\n\n<p>It\x92s \xC3\xA9</p>\n");
    select(0);
    EXPECT_TRUE(isValidUtf8(viewer.views.htmlText)) << charset;
  }
}

TEST_F(MessageViewerTest, ShowsTheWholeTextOfTheSourceAndTheStoredOneWithoutIt) {
  const std::string whole = "MAILBOX: INBOX\n\nForty sunflowers.\n\nAll of them ";
  answerSource(kTextSource);
  select(0);
  EXPECT_FALSE(viewer.views.htmlShowing);
  EXPECT_THAT(viewer.views.bodyTextView, HasSubstr(whole + "\uFFFD[2J up."));
  EXPECT_THAT(viewer.messageText, HasSubstr(whole + "\x1B[2J up."));
  EXPECT_EQ(viewer.views.attachmentView.links.size(), 2U);
  for (const char* source : {"ab", "0"}) {
    answerSource(source);
    select(0);
    EXPECT_THAT(viewer.views.bodyTextView, testing::EndsWith("MAILBOX: INBOX\n\nstored body"));
  }
  EXPECT_THAT(webView.loaded, IsEmpty());
}

TEST_F(MessageViewerTest, TheTextBesideAnHtmlVersionIsWholeToo) {
  answerSource(
      "From: a@x.example\nContent-Type: multipart/alternative; boundary=b\n\n--b\n"
      "Content-Type: text/plain\n\nFirst.\n\nSecond.\n--b\nContent-Type: text/html\n\n" +
      kHtml + "\n--b--\n");
  select(0);
  EXPECT_TRUE(viewer.views.htmlShowing);
  EXPECT_THAT(viewer.messageText, HasSubstr("\n\nFirst.\n\nSecond."));
  viewer.viewText();
  EXPECT_THAT(viewer.views.bodyTextView, HasSubstr("\n\nFirst.\n\nSecond."));
}

TEST_F(MessageViewerTest, AsksForTheEncodingOfWhatMayHaveBeenReadAsLatin1) {
  const std::string head = "From: a@x.example\nContent-Type: text/plain\n\n";
  const std::string ask = "query SELECT encoding FROM keldane_fingerprints WHERE id=5";
  for (const auto& [text, isAsked] :
       {std::pair("plain", false), std::pair("größe", true), std::pair("größe Ж", false)}) {
    answerSource(head + text);
    select(0);
    EXPECT_EQ(testing::Value(scripted.calls, testing::Contains(ask)), isAsked) << text;
  }
}

TEST_F(MessageViewerTest, ChangesToTheTextAndBack) {
  select(0);
  EXPECT_EQ(viewer.views.textButtonTitle, "Text");
  scripted.calls.clear();
  viewer.viewText();
  EXPECT_EQ(viewer.views.textButtonTitle, "HTML");
  EXPECT_FALSE(viewer.views.htmlShowing);
  EXPECT_EQ(viewer.views.bodyTextView, viewer.messageText);
  EXPECT_EQ(viewer.views.attachmentView.links.size(), 1U) << "the strip stays as it was";
  viewer.viewText();
  EXPECT_EQ(viewer.views.textButtonTitle, "Text");
  EXPECT_TRUE(viewer.views.htmlShowing);
}

TEST_F(MessageViewerTest, TakesTheRowFromTheEndOfAReversedList) {
  list.reverseList = true;
  select(0);
  EXPECT_THAT(scripted.statements().front(), testing::EndsWith("WHERE id=7"));
  select(-1, 0);
  EXPECT_THAT(scripted.statements().front(), testing::EndsWith("WHERE id=7")) << "none: the first";
  select(9);
  EXPECT_THAT(scripted.calls, IsEmpty()) << "past the end";
}

TEST_F(MessageViewerTest, EnablesButtonsByTheNumberOfRows) {
  select(0, 2);
  EXPECT_FALSE(viewer.views.textButtonEnabled || viewer.views.replyToButtonEnabled ||
               viewer.views.forwardButtonEnabled);
  EXPECT_TRUE(viewer.views.tagButtonEnabled);
  EXPECT_THAT(ui.lines("close"), ElementsAre("close origWindow"));
  EXPECT_TRUE(viewer.views.htmlShowing) << "the message is shown all the same";
  select(0);
  EXPECT_TRUE(viewer.views.textButtonEnabled && viewer.views.replyToButtonEnabled &&
              viewer.views.forwardButtonEnabled && viewer.views.tagButtonEnabled);
  list.messageButtonsEnabled = false;
  viewer.clearMessageViews();
  EXPECT_FALSE(viewer.views.textButtonEnabled || viewer.views.tagButtonEnabled);
  EXPECT_EQ(viewer.attachOwnerId, 0U);
}

TEST_F(MessageViewerTest, ShowsABodyAsHtmlThatIsADocumentAndDoesNotOnlySpeakOfIt) {
  answerSource("0");
  for (const auto& [body, html] :
       {std::pair<std::string, const char*>("\nATTACHMENTS: x\n<HTML><p>stored</p></HTML>",
                                            "\n<HTML><p>stored</p></HTML>"),
        {std::string(200, 'x') + "<html></html>", ""},
        {"<html> without an end", ""}}) {
    answerRow(body);
    select(0);
    EXPECT_EQ(viewer.views.htmlShowing ? viewer.views.htmlText : "", html) << body;
  }
}

TEST_F(MessageViewerTest, ShowsTheRawSourceWhileItsWindowIsOpen) {
  viewer.selection = {1, 0};
  viewer.viewOrig();
  EXPECT_EQ(viewer.views.origTextView, kHtmlSource);
  EXPECT_THAT(ui.lines("title"), ElementsAre("title origWindow Original Raw Source"));
  answerSource(kTextSource);
  select(0);
  EXPECT_EQ(viewer.views.origTextView, kTextSource);
  answerSource("0");
  select(0);
  viewer.viewOrig();
  const std::string text = "There is no original raw source for this email in the database.";
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [No Raw Source] " + text, "alert [No raw source] " + text));
}

TEST_F(MessageViewerTest, FillsTheTagPanelWhileItIsOpen) {
  select(0);
  EXPECT_THAT(scripted.calls, Not(testing::Contains("setTags")));
  ui.visiblePanels.insert("tagPanel");
  select(0);
  EXPECT_THAT(scripted.calls, testing::Contains("setTags"));
}

TEST_F(MessageViewerTest, GoesOnWithoutASourceButNotWithoutTheRow) {
  scripted.failOn("query SELECT orig_fld *", "refused");
  select(0);
  EXPECT_FALSE(viewer.views.htmlShowing);
  EXPECT_THAT(viewer.views.bodyTextView, testing::EndsWith("stored body"));
  viewer.viewOrig();
  EXPECT_THAT(ui.alertLines(), ElementsAre("alert critical [SQL Error] SQL error: refused"))
      << "which does not mean that there is none";
  scripted.failOn("query SELECT id,date_fld,*", "refused");
  select(1);
  EXPECT_EQ(viewer.messageText, "");
  EXPECT_EQ(viewer.attachOwnerId, 0U);
}

TEST_F(MessageViewerTest, OpensTheDatabaseAgainWhenTheSessionIsLost) {
  scripted.failOn("query SELECT orig_fld *", "MySQL server has gone away", 1);
  select(0);
  EXPECT_THAT(scripted.calls[1], "openDatabase");
  EXPECT_TRUE(viewer.views.htmlShowing);
}

TEST_F(MessageViewerTest, LeavesTheSessionToARun) {
  taken = true;
  select(0);
  viewer.viewOrig();
  viewer.viewText();
  EXPECT_THAT(scripted.calls, IsEmpty());
}

TEST_F(MessageViewerTest, ShowsTheHtmlOfTheSourceInPlaceOfItsAttachment) {
  select(0);
  viewer.showHtmlVersion("/work/0-KD-htmlversion.html");
  EXPECT_EQ(webView.loaded.back(), "file:///work/0-KD-htmlversion.html") << "a short one";
  EXPECT_EQ(viewer.views.htmlFile, "/work/0-KD-htmlversion.html");
  answerSource(kHtmlSource + std::string(300, 'x'));
  viewer.showHtmlVersion("/work/0-KD-htmlversion.html");
  EXPECT_THAT(webView.loaded.back(), StartsWith("<div style='padding-bottom"));
  EXPECT_EQ(viewer.views.htmlFile, "");
}

}  // namespace
}  // namespace keldane

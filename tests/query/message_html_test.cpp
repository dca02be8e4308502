#include "query/message_html.h"

#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

constexpr std::int64_t kNow = 1700000000;

HeaderBlock blockOf(std::string_view source, int dateFormat = 0,
                    std::optional<std::int64_t> parsed = std::nullopt) {
  mime::TnoEmail email;
  EXPECT_TRUE(email.SetFromMimeText(source));
  HeaderDate date;
  date.listDate = "as in the list";
  date.now = kNow;
  date.dateFormat = dateFormat;
  date.parseDate = [parsed](std::string_view, std::int64_t) { return parsed; };
  return readHeaderBlock(email, date);
}

class HeaderBlockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
};

TEST_F(HeaderBlockTest, HasTheSameTwoShapesWithAndWithoutCc) {
  EXPECT_EQ(headerBlockHtml({"f", "t", "c", "s", "d"}),
            "<div style='padding-bottom: 20px;'><div style='background-color:#eeee'><div>"
            "<b>From:</b> f</div><div><b>To:</b> t</div><b>Cc:</b> c</div><div><b>Subject:</b> s"
            "</div><div><b>Date:</b> d</div></div></div>");
  EXPECT_EQ(headerBlockHtml({"f", "t", "", "s", "d"}),
            "<div style='padding-bottom: 20px;'><div style='background-color:#eeee'><div>"
            "<b>From:</b> f</div><div><b>To:</b> t<div><b>Subject:</b> s</div><div><b>Date:</b> d"
            "</div></div></div>");
}

TEST_F(HeaderBlockTest, ShowsMarkupOfTheMessageAsText) {
  const std::string markup = "<script>a(\"&\")</script><img src='x'>";
  const std::string escaped =
      "&lt;script&gt;a(&quot;&amp;&quot;)&lt;/script&gt;&lt;img src=&#39;x&#39;&gt;";
  const std::string html = headerBlockHtml({markup, markup, markup, markup, markup});
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_EQ(html.find("<img"), std::string::npos);
  for (const char* label : {"From", "To", "Cc", "Subject", "Date"}) {
    const std::string line = std::string("<b>") + label + ":</b> " + escaped + "</div>";
    EXPECT_NE(html.find(line), std::string::npos) << label;
  }
}

TEST_F(HeaderBlockTest, TakesAddressesWithoutNames) {
  const HeaderBlock block = blockOf(
      "From: \"A <b>\" <a@b.example>\r\nTo: T <t@x.example>, u@x.example\r\n"
      "Cc: \"C, D\" <c@x.example>\r\nSubject: =?utf-8?q?=3Cscript=3E?=\r\n"
      "Date: Mon, 02 Jan 2006 22:04:05 +0000\r\n\r\nBody");
  EXPECT_EQ(block.from, "a@b.example");
  EXPECT_EQ(block.to, "t@x.example, u@x.example");
  EXPECT_EQ(block.cc, "c@x.example");
  EXPECT_EQ(block.subject, "<script>");
  EXPECT_EQ(block.date, "2006-01-02 22:04:05");
}

TEST_F(HeaderBlockTest, FallsBackOnTheDateFieldAndThenOnTheList) {
  const std::string unreadable = "From: a@b.example\r\nDate: some day\r\n\r\nBody";
  EXPECT_EQ(blockOf(unreadable, 0, 86400).date, "1970-01-02 00:00:00");
  EXPECT_EQ(blockOf(unreadable, 1, 86400).date, "01-02-1970 00:00:00");
  EXPECT_EQ(blockOf(unreadable, 2, 86400).date, "02-01-1970 00:00:00");
  EXPECT_EQ(blockOf(unreadable, 1).date, "as in the list");
  EXPECT_EQ(blockOf("From: a@b.example\r\n\r\nBody", 1, 86400).date, "as in the list");
}

TEST_F(HeaderBlockTest, TakesADateOfTheLastFiveSecondsForNone) {
  const auto dated = [](const char* seconds) {
    return blockOf(std::string("From: a@b.example\r\nDate: Tue, 14 Nov 2023 22:13:") + seconds +
                   " +0000\r\n\r\nBody")
        .date;
  };
  EXPECT_EQ(dated("15"), "2023-11-14 22:13:15");
  EXPECT_EQ(dated("16"), "as in the list");
}

TEST(StandalonePage, NoMetaOfTheMessageSpeaksForThePage) {
  const std::string page = standalonePage(
      "<p>\xC3\xA9<MeTa charset=koi8-r><meta http-equiv=refresh content='0;url=//x'>meta");
  EXPECT_TRUE(
      page.starts_with("<meta charset=\"utf-8\"><meta http-equiv=\"Content-Security-Policy\" "
                       "content=\"default-src 'none'; img-src data: cid:; style-src "
                       "'unsafe-inline'\">\n<p>"));
  EXPECT_TRUE(
      page.ends_with("<p>\xC3\xA9<x-MeTa charset=koi8-r><x-meta http-equiv=refresh "
                     "content='0;url=//x'>meta"));
}

}  // namespace
}  // namespace keldane

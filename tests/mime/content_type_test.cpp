#include "mime/headers/content_type.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "mime/buffers/log_base.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

/// All that was read, one "name=value" after another; empty members are left out.
std::string summary(const _tnContentType& type, const _tnCharset& charset) {
  std::string all(type.contentType().view());
  const auto add = [&all](std::string_view name, std::string_view value) {
    if (!value.empty()) all.append("|").append(name).append("=").append(value);
  };
  add("cs", std::to_string(charset.getCodePage()));
  add("name", type.name().view());
  add("boundary", type.boundary().view());
  add("protocol", type.protocol().view());
  add("micalg", type.micalg().view());
  add("smime", type.smimeType().view());
  add("type", type.typeParam().view());
  add("report", type.reportType().view());
  if (type.formatFlowed()) all += "|flowed";
  type.params().forEach(
      [&add](const _tnParamSet::Param& param) { add("+" + std::string(param.name), param.value); });
  return all;
}

std::string read(std::string_view value) {
  LogNull log;
  _tnContentType type;
  _tnCharset charset;
  type.loadFromMimeHeaderValue(value, charset, log);
  return summary(type, charset);
}

TEST(ContentType, KeepsParametersOfAnyLength) {
  std::string value = "a/b";
  std::string expected = "a/b|cs=0";
  for (const std::size_t size : {1U, 254U, 255U, 256U, 70000U}) {
    const std::string text(size, 'v');
    value += "; p=" + text + "; " + text + "=q";
    expected += "|+p=" + text + "|+" + text + "=q";
  }
  EXPECT_EQ(read(value), expected);
}

TEST(ContentType, TakesValuesApart) {
  const TextRow rows[] = {
      {"plain", "Text/Plain", "text/plain|cs=0"},
      {"type in quotes", "\"text/plain\"; charset=utf-8", "text/plain|cs=65001"},
      {"quoted charset", "text/plain; charset=\"utf-8\"; name=x", "text/plain|cs=65001|name=x"},
      {"blanks everywhere", "text/plain ; charset=utf-8 ; name = x", "text/plain|cs=65001|name=x"},
      {"no separator but a blank", "text/plain charset=latin1", "text/plain|cs=28591"},
      {"boundary keeps case and blanks", "multipart/mixed; BOUNDARY=\"a B  c;=\"",
       "multipart/mixed|cs=0|boundary=a B  c;="},
      {"unknown charset", "text/plain; charset=bogus", "text/plain|cs=0"},
      {"later charset wins", "text/plain; charset=utf-8; charset=latin1", "text/plain|cs=28591"},
      {"signed", "multipart/signed; protocol=\"Application/PGP-Signature \"; micalg=PGP-Sha1",
       "multipart/signed|cs=0|protocol=application/pgp-signature|micalg=pgp-sha1"},
      {"smime and related", "a/b; smime-type=Signed-Data; type=\"Text/HTML\"",
       "a/b|cs=0|smime=signed-data|type=text/html"},
      {"report type is a parameter like any other", "multipart/report; report-type=Delivery",
       "multipart/report|cs=0|+report-type=Delivery"},
      {"flowed", "text/plain; Format=Flowed; delsp=yes", "text/plain|cs=0|flowed|+delsp=yes"},
      {"fixed", "text/plain; format=fixed", "text/plain|cs=0|+format=fixed"},
      {"escaped quote", "a/b; name=\"x\\\"y\\z\"", "a/b|cs=0|name=x\"y\\z"},
      {"quote without an end", "a/b; name=\"x; charset=utf-8", "a/b|cs=0|name=x; charset=utf-8"},
      {"double separators", "a/b;; name=x;;\tcharset=utf-8;", "a/b|cs=65001|name=x"},
      {"no equals sign", "a/b; name", "a/b|cs=0"},
      {"parameter without a value swallows the next name", "a/b; foo; name=x",
       "a/b|cs=0|+foo;name=x"},
      {"star name", "a/b; name*=utf-8''caf%C3%A9", "a/b|cs=0|name=café"},
      {"star name in pieces", "a/b; name=old; name*0*=iso-8859-1''c%E9; name*1*=%E9; name*2=e",
       "a/b|cs=0|name=céée"},
      {"piece 0 starts over", "a/b; name*=x; name*0*=utf-8''a; name*1=b", "a/b|cs=0|name=ab"},
      {"text that looks like a token", "a/b; x=<[[7]]>; y=<[[0]]>; name=\"n\"",
       "a/b|cs=0|name=n|+x=<[[7]]>|+y=n"},
      {"nothing", "", "|cs=0"},
      {"parameters only", "; name=x", "|cs=0|name=x"},
  };
  for (const auto& row : rows) EXPECT_EQ(read(row.in), row.out) << row.name;
}

TEST(ContentType, ForgetsTheOldValueButNotTheCharset) {
  LogNull log;
  _tnContentType type;
  _tnCharset charset;
  type.loadFromMimeHeaderValue("a/b; charset=utf-8; name=x; boundary=y; z=1", charset, log);
  type.loadFromMimeHeaderValue("c/d", charset, log);
  EXPECT_EQ(summary(type, charset), "c/d|cs=65001");
}

TEST(ContentType, IsReadBackAsItWasWritten) {
  const char* const values[] = {
      "text/plain; charset=\"iso-8859-2\"; name=\"a;b=\\\"c\\\" d\"; format=flowed; x=\" y \"",
      ("multipart/signed; protocol=\"application/pgp-signature\"; micalg=pgp-sha1; "
       "boundary=\"=_A b'()+,./:=?\""),
      "multipart/related; type=\"text/html\"; start=\"<a@b>\"; boundary=b; empty=\"\"",
      "multipart/report; report-type=delivery-status; boundary=\"x\\\\\"",
  };
  LogNull log;
  for (const char* value : values) {
    _tnContentType type;
    _tnCharset charset;
    type.loadFromMimeHeaderValue(value, charset, log);
    StringBuffer built;
    type.buildMimeHeaderValue(built, charset, log);
    std::string wanted = summary(type, charset);
    // A backslash cannot stand in front of a closing quote.
    while (wanted.find("x\\\\|") != std::string::npos)
      wanted.replace(wanted.find("x\\\\|"), 4, "x|");
    EXPECT_EQ(read(built.view()), wanted) << built.getString();
    _tnContentType copy;
    copy.copyFrom(type);
    EXPECT_EQ(summary(copy, charset), summary(type, charset));
  }
}

TEST(ParamString, PutsTokensForQuotedStrings) {
  ParamString text;
  text.setString("a \"b c\" d=\"e\rf\" \"\" \"g", true);
  EXPECT_EQ(text.view(), "a <[[0]]> d=<[[1]]>\rf<[[2]]><[[3]]>g");
  EXPECT_EQ(text.resolve("<[[0]]>x"), "b c");
  EXPECT_EQ(text.resolve("x<[[0]]>"), "x<[[0]]>");
  EXPECT_EQ(text.resolve("<[[99999999999999999999]]>"), "<[[99999999999999999999]]>");
  text.setString("\"a\"", false);
  EXPECT_EQ(text.view(), "\"a\"");
}

TEST(ContentType, SurvivesHostileValues) {
  for (const char* unit : {"\"", "a=\"b\";", "name*=a;", "=", ";", "<[[", "\\\"", "charset=xyz;"}) {
    std::string value = "a/b; ";
    while (value.size() < 500000) value += unit;
    EXPECT_THAT(read(value), testing::StartsWith("a/b|cs=0")) << unit;
  }
}

}  // namespace
}  // namespace keldane::mime

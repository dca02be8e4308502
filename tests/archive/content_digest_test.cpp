#include "archive/content_digest.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/hex.h"

namespace keldane {
namespace {

using std::string_view_literals::operator""sv;

mime::PartView leaf(std::string_view contentType, std::string_view name, std::string_view body) {
  mime::PartView part;
  part.contentType = contentType;
  part.name = name;
  part.body = body;
  return part;
}

std::string digest(std::string_view subject, const std::vector<mime::PartView>& parts) {
  ContentDigest content;
  for (const mime::PartView& part : parts) content.addPart(part);
  return content.finish(subject);
}

TEST(Sha256, IsThatOfTheStandard) {
  const std::string_view expected =
      "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  std::string bytes;
  for (std::size_t i = 0; i < expected.size(); i += 2) {
    bytes += static_cast<char>(hexValue(expected[i]) * 16 + hexValue(expected[i + 1]));
  }
  EXPECT_EQ(sha256("abc"), bytes);
  Sha256 pieces;
  for (int round = 0; round < 2; ++round) {
    pieces.add("a");
    pieces.add("bc");
    EXPECT_EQ(pieces.finish(), bytes) << "round " << round;
  }
}

TEST(ContentDigest, TellsMessagesApartByWhatTheySayAndNotByTheirWay) {
  struct Case {
    const char* name;
    std::vector<mime::PartView> parts;
    bool same;
    const char* subject = "Hello you";
  };
  const auto plain = [](std::string_view body) { return leaf("text/plain", "", body); };
  const mime::PartView text = plain("Dear all,\nFrom here.\nBye\n");
  const mime::PartView picture = leaf("image/png", "p.png", "a\r\n \n");
  const std::vector<Case> cases = {
      {"CR LF", {plain("Dear all,\r\nFrom here.\r\nBye\r\n"), picture}, true},
      {"CR", {plain("Dear all,\rFrom here.\rBye"), picture}, true},
      {"no type", {leaf("", "", text.body), picture}, true},
      {"blanks at the ends", {plain("\n \nDear all, \t\nFrom here.\nBye\n\n  \n"), picture}, true},
      {"mark of an mbox", {plain("Dear all,\n>From here.\nBye"), picture}, true},
      {"NUL", {plain("Dear\0 all,\nFrom here.\nBye\n"sv), picture}, true},
      {"folded subject", {text, picture}, true, " Hello\r\n\tyou "},
      {"an empty text beside it", {leaf("text/html", "", "\r\n"), text, picture}, true},
      {"another subject", {text, picture}, false, "Hello you!"},
      {"another letter", {plain("Dear all,\nFrom there.\nBye\n"), picture}, false},
      {"an empty line between", {plain("Dear all,\n\nFrom here.\nBye\n"), picture}, false},
      {"bytes at the end of a file", {text, leaf("image/png", "p.png", "a\n \n")}, false},
      {"name of a file", {text, leaf("image/png", "q.png", picture.body)}, false},
      {"no file", {text}, false},
      {"order", {picture, text}, false},
      {"cut in two", {plain("Dear all,\n"), plain("From here.\nBye\n"), picture}, false},
  };
  const std::string stored = digest("Hello you", {text, picture});
  EXPECT_EQ(stored.size(), 32U);
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(digest(row.subject, row.parts) == stored, row.same);
  }
}

TEST(ContentDigest, ALongTextCountsToItsEnd) {
  std::string one;
  while (one.size() < 100000) one += "A line of some length, and one more.\r\n";
  std::string other = one;
  other[other.size() - 4] = 'x';
  EXPECT_NE(digest("", {leaf("text/plain", "", one)}), digest("", {leaf("text/plain", "", other)}));
  EXPECT_NE(digest("", {leaf("text/plain", "", one)}),
            digest("", {leaf("text/plain", "", one + ".")}));
}

}  // namespace
}  // namespace keldane

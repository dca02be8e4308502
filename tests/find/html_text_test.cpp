#include "find/html_text.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/text.h"
#include "find/japanese_text.h"
#include "find/snippet.h"
#include "find/words.h"

namespace keldane {
namespace {

/// Words parted by one blank, as a reader sees them.
std::string wordsOf(const std::string& text) {
  std::string words;
  WordCutter().cut(text, [&](const Word& word) {
    if (!words.empty()) words += ' ';
    if (word.isPair) words += '+';
    words += word.folded;
  });
  return words;
}

struct Page {
  const char* name;
  const char* page;
  const char* words;
};

TEST(HtmlText, GivesWhatAPersonReads) {
  const std::vector<Page> pages = {
      {"entities", "&uuml;bel &#252;bel &#xFC;bel &copy 2003 &AMP &unknown; a&nbsp;b",
       "ubel ubel ubel 2003 amp unknown a b"},
      {"numbers of windows", "it&#146;s &#0; &#x110000;", "it s 0"},
      {"numbers without an end", "En&#116er b&#x6frg &#12", "enter borg"},
      {"inline joins, block parts", "in<b>voi</b>ce<p>one</p>two<br>three<td>four",
       "invoice one two three four"},
      {"hidden", "a<style>b{c}</style><SCRIPT>if (x<y) d</SCRIPT >e<title>f</title>g", "a e g"},
      {"comment", "a<!-- <b>x</b> -- > -->b<!--c-->d", "abd"},
      {"comment without an end", "a<!-- b > c <!-- d > e", "a c e"},
      {"style without an end", "a<style>b <p>c", "a"},
      {"less than", "1 < 2 and 3<4 <", "1 2 and 3 4"},
      {"quotes in tags", "<a title='x > y' href=\"a>b\">link</a>", "link"},
      {"tag without an end", "a <b title=\"c\" <i>d</i>", "a d"},
      {"conditional", "<![if !mso]>shown<![endif]><xml>office</xml> too", "shown too"},
      {"alternative of an image", "<img src=x alt=\"the logo\">end", "the logo end"},
  };
  for (const Page& page : pages) {
    EXPECT_EQ(wordsOf(markupText(page.page)), page.words) << page.name;
  }
  EXPECT_EQ(wordsOf(markupText("<w:p><w:r><w:t>in</w:t></w:r><w:r><w:t>voice</w:t></w:r></w:p>"
                               "<w:p><w:t>2</w:t></w:p><c r=\"A\" t=\"s\"><v>17</v></c><c><v>42</v>"
                               "</c>",
                               Markup::document)),
            "invoice 2 42");
}

TEST(JapaneseText, IsReadAgainWhereNoCharsetWasNamed) {
  std::string asLatin1;
  for (const char c : std::string("\x83\x8D\x83\x8A\x82\xC8\x82\xC7\x82\xC8\x82\xC7 132 "
                                  "\x82\xA2\x82\xC2\x82\xDC\x82\xC5")) {
    appendUtf8(asLatin1, static_cast<unsigned char>(c));
  }
  EXPECT_EQ(japaneseText(asLatin1),
            "\u30ED\u30EA\u306A\u3069\u306A\u3069 132 "
            "\u3044\u3064\u307E\u3067");
  for (const char* other : {"", "plain", "caf\u00E9 \u00C4rger \u00E0 la carte",
                            "\u0093quoted\u0094 "
                            "by Windows, and some more of it \u0092 \u0093"}) {
    EXPECT_EQ(japaneseText(other), "") << other;
  }
}

TEST(HtmlText, IsBoundedAndLinear) {
  for (const char* piece :
       {"<!-- ", "<a =\"", "<style>", "&#", "<b ", "</", "<![CDATA[", "<img alt=\"'"}) {
    std::string page;
    while (page.size() < 400'000) page += piece;
    EXPECT_LE(markupText(page, Markup::html, 1000).size(), 1000u) << piece;
    EXPECT_LE(markupText(page, Markup::document).size(), page.size()) << piece;
  }
}

TEST(WordCutter, FoldsCaseAndAccentsAndCutsScripts) {
  const std::vector<Page> texts = {
      {"accents", "Kost\u00FCme Kostu\u0308me STRASSE Stra\u00DFe \u00C9t\u00E9",
       "kostume kostume strasse strasse ete"},
      {"parting signs", "foo_bar don't e-mail www.x.org 3,5", "foo bar don t e mail www x org 3 5"},
      {"letters and digits", "abc123 \uFF21\uFF22 \u00BD", "abc 123 ab 12"},
      {"greek and russian", "\u0386\u03BB\u03C6\u03B1 \u0419\u041E\u0413\u0410",
       "\u03B1\u03BB\u03C6\u03B1 \u0438\u043E\u0433\u0430"},
      {"chinese", "x\u6771\u4EAC\u90FDy", "x \u6771 \u4EAC +\u6771\u4EAC \u90FD +\u4EAC\u90FD y"},
      {"broken bytes",
       "a\xFF"
       "b\xC3",
       "a b"},
      {"invisible", "in\u00ADvoice", "invoice"},
  };
  for (const Page& text : texts) EXPECT_EQ(wordsOf(text.page), text.words) << text.name;
  EXPECT_EQ(wordsOf(std::string(200, 'a')), std::string(kMaxWordBytes, 'a'));
}

TEST(Snippet, ShowsWhereMostWordsStandTogether) {
  WordCutter cutter;
  const std::string text = "Invoice alone here. " + std::string(400, '.') +
                           "\n\tyour   b\u00FCro\x1B[1m invoice of May " + std::string(400, '.');
  const Snippet snippet = makeSnippet(text, {{"invoice", "buro"}, {"ma"}}, cutter, 80);
  std::vector<std::string> marked;
  for (const auto& [begin, end] : snippet.marks) {
    marked.push_back(snippet.text.substr(begin, end - begin));
  }
  EXPECT_EQ(marked, (std::vector<std::string>{"b\u00FCro", "invoice", "May"}));
  EXPECT_EQ(snippet.text.find_first_of("\n\t\x1B"), std::string::npos);
  EXPECT_TRUE(isValidUtf8(snippet.text));
  EXPECT_TRUE(makeSnippet("nothing", {{"else"}, {}}, cutter).marks.empty());
}

}  // namespace
}  // namespace keldane

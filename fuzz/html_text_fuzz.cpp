// Foreign markup on its way into the word index: the text must stay bounded and UTF-8, and cutting
// it into words must stay within it.
#include <cstdint>
#include <string>
#include <string_view>

#include "base/text.h"
#include "find/html_text.h"
#include "find/snippet.h"
#include "find/words.h"
#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane;
  constexpr std::size_t kMost = 1000;
  const std::string page(reinterpret_cast<const char*>(data), size);
  std::string utf8 = page;
  repairUtf8(utf8);
  WordCutter cutter;
  for (const Markup markup : {Markup::html, Markup::document}) {
    // An entity of three letters is the shortest for a character of four bytes.
    KELDANE_CHECK(markupText(page, markup).size() <= 4 * size + 4);
    KELDANE_CHECK(markupText(page, markup, kMost).size() <= kMost);
    const std::string text = markupText(utf8, markup);
    KELDANE_CHECK(isValidUtf8(text));
    std::size_t last = 0;
    WantedWords wanted;
    cutter.cut(text, [&](const Word& word) {
      KELDANE_CHECK(word.begin < word.end && word.end <= text.size());
      KELDANE_CHECK(isValidUtf8(word.folded) && word.folded.size() <= 4 * kMaxWordBytes);
      if (word.isPair) return;
      KELDANE_CHECK(word.begin >= last);
      last = word.end;
      if (wanted.words.size() < 3) wanted.words.emplace_back(word.folded);
    });
    const Snippet snippet = makeSnippet(text, wanted, cutter);
    KELDANE_CHECK(isValidUtf8(snippet.text) && snippet.text.find('\n') == std::string::npos);
    std::size_t done = 0;
    for (const auto& [begin, end] : snippet.marks) {
      KELDANE_CHECK(begin >= done && end >= begin && end <= snippet.text.size());
      done = end;
    }
  }
  return 0;
}

#include "find/words.h"

#include <array>
#include <vector>

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include "base/text.h"

namespace keldane {
namespace {

enum class Kind : char { unknown, separator, letter, mark, single };

/// Accents that stand behind their letter. Marks of other scripts carry meaning and stay.
bool isAccent(UChar32 c) { return c >= 0x0300 && c <= 0x036F; }

bool isWrittenWithoutBlanks(UChar32 c) {
  UErrorCode error = U_ZERO_ERROR;
  switch (uscript_getScript(c, &error)) {
    case USCRIPT_HAN:
    case USCRIPT_HIRAGANA:
    case USCRIPT_KATAKANA:
    case USCRIPT_HANGUL:
    case USCRIPT_BOPOMOFO:
    case USCRIPT_THAI:
    case USCRIPT_LAO:
    case USCRIPT_KHMER:
    case USCRIPT_MYANMAR:
      return true;
    default:
      return c == 0x30FC;  // the sign for a long vowel belongs to two scripts
  }
}

Kind kindOf(UChar32 c) {
  if (isAccent(c)) return Kind::mark;
  if (isWrittenWithoutBlanks(c) && (u_isalnum(c) || (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0)) {
    return Kind::single;
  }
  if (c == 0x00AD || c == 0x200C || c == 0x200D) return Kind::mark;  // seen by no reader
  if (u_isalnum(c) || (U_GET_GC_MASK(c) & (U_GC_M_MASK | U_GC_N_MASK)) != 0) return Kind::letter;
  return Kind::separator;
}

std::string foldedLetter(UChar32 c) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* caseless = icu::Normalizer2::getNFKCCasefoldInstance(error);
  const icu::Normalizer2* parts = icu::Normalizer2::getNFDInstance(error);
  const icu::Normalizer2* whole = icu::Normalizer2::getNFCInstance(error);
  std::string folded;
  if (U_FAILURE(error)) {
    appendUtf8(folded, static_cast<char32_t>(c));
    return folded;
  }
  const icu::UnicodeString apart =
      parts->normalize(caseless->normalize(icu::UnicodeString(c), error), error);
  icu::UnicodeString bare;
  for (std::int32_t i = 0; i < apart.length(); i = apart.moveIndex32(i, 1)) {
    // A fraction or a number in brackets folds to more than its digits.
    const Kind kind = kindOf(apart.char32At(i));
    if (kind == Kind::letter || kind == Kind::single) bare.append(apart.char32At(i));
  }
  whole->normalize(bare, error).toUTF8String(folded);
  return folded;
}

constexpr std::array<char, 128> makeAsciiLetters() {
  std::array<char, 128> letters{};
  for (char c = '0'; c <= '9'; ++c) letters[static_cast<std::size_t>(c)] = c;
  for (char c = 'a'; c <= 'z'; ++c) {
    letters[static_cast<std::size_t>(c)] = c;
    letters[static_cast<std::size_t>(c - 'a' + 'A')] = c;
  }
  return letters;
}

/// Each letter and digit folded, 0 for what parts words.
constexpr std::array<char, 128> kAsciiLetters = makeAsciiLetters();

std::string_view beginningOf(std::string_view word) {
  if (word.size() <= kMaxWordBytes) return word;
  std::size_t end = kMaxWordBytes;
  while (end > 0 && (static_cast<unsigned char>(word[end]) & 0xC0U) == 0x80) --end;
  return word.substr(0, end);
}

}  // namespace

/// What is known of the characters met so far, asked of the library once each.
struct WordCutter::Letters {
  struct Letter {
    Kind kind = Kind::unknown;
    std::string folded;
  };

  const Letter& of(UChar32 c) {
    auto& page = pages[static_cast<std::size_t>(c) >> 8U];
    if (!page) page = std::make_unique<std::array<Letter, 256>>();
    Letter& letter = (*page)[static_cast<std::size_t>(c) & 0xFFU];
    if (letter.kind == Kind::unknown) {
      letter.kind = kindOf(c);
      if (letter.kind == Kind::letter || letter.kind == Kind::single) {
        letter.folded = foldedLetter(c);
      }
    }
    return letter;
  }

  std::vector<std::unique_ptr<std::array<Letter, 256>>> pages =
      std::vector<std::unique_ptr<std::array<Letter, 256>>>(0x1100);
};

WordCutter::WordCutter() : letters_(std::make_unique<Letters>()) {}
WordCutter::~WordCutter() = default;

void WordCutter::cut(std::string_view text, const std::function<void(const Word&)>& visit) {
  std::string word;
  std::size_t begin = 0;
  std::string before;  // the single character that ends where we stand
  std::size_t beforeBegin = 0;
  bool endsInDigit = false;  ///< the word at hand is a number
  const auto finish = [&](std::size_t end) {
    if (!word.empty()) visit({beginningOf(word), begin, end, false});
    word.clear();
  };
  const auto size = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  for (std::int32_t next = 0; next < size;) {
    const auto here = static_cast<std::size_t>(next);
    const auto byte = static_cast<unsigned char>(text[here]);
    if (byte < 0x80) {
      ++next;
      before.clear();
      const char letter = kAsciiLetters[byte];
      if (letter == 0) {
        finish(here);
        continue;
      }
      const bool isDigit = letter <= '9';
      if (isDigit != endsInDigit) finish(here);
      if (word.empty()) begin = here;
      endsInDigit = isDigit;
      word += letter;
      continue;
    }
    UChar32 c = 0;
    U8_NEXT(text.data(), next, size, c);
    const Letters::Letter* letter = c < 0 ? nullptr : &letters_->of(c);
    if (!letter || letter->kind == Kind::separator || letter->kind == Kind::unknown) {
      finish(here);
      before.clear();
    } else if (letter->kind == Kind::letter) {
      if (endsInDigit) finish(here);
      endsInDigit = false;
      if (word.empty()) begin = here;
      word += letter->folded;
      before.clear();
    } else if (letter->kind == Kind::single) {
      finish(here);
      const auto end = static_cast<std::size_t>(next);
      visit({letter->folded, here, end, false});
      if (!before.empty()) {
        before += letter->folded;
        visit({before, beforeBegin, end, true});
      }
      before = letter->folded;
      beforeBegin = here;
    }
  }
  finish(static_cast<std::size_t>(size));
}

}  // namespace keldane

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace keldane {

/// The longest word that the index keeps whole, in bytes of UTF-8. Of a longer one its beginning
/// stands for it, in the index and in a query alike.
inline constexpr std::size_t kMaxWordBytes = 64;

/// A word of a text, as the index knows it.
struct Word {
  std::string_view folded;  ///< case and accents folded away; valid until the next word
  std::size_t begin = 0;    ///< where it stands in the text, in bytes
  std::size_t end = 0;
  /// Two neighbouring characters of a script without blanks between words. It has no place of its
  /// own: the characters that it is made of have.
  bool isPair = false;
};

/// Cuts texts into words, for the index, for queries and for snippets alike. A word is a run of
/// letters and their marks, or of digits, so that "radio1" is found by "radio" too; all else parts
/// words. Chinese, Japanese and Korean, and Thai
/// and its neighbours, give each character as a word and each two neighbours as a pair. What is not
/// UTF-8 parts words. Linear in the text. One thread at a time.
class WordCutter {
 public:
  WordCutter();
  ~WordCutter();
  WordCutter(const WordCutter&) = delete;
  WordCutter& operator=(const WordCutter&) = delete;

  /// Calls `visit` for each word in the order of the text; of two that begin at one place the
  /// single character comes first.
  void cut(std::string_view text, const std::function<void(const Word&)>& visit);

 private:
  struct Letters;
  std::unique_ptr<Letters> letters_;
};

}  // namespace keldane

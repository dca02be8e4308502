#include "query/quoted_reply.h"

#include <array>

namespace keldane {
namespace {

constexpr std::string_view kReceived = "\nMessage received ";
constexpr std::string_view kDated = "\nIn a message dated ";
constexpr std::string_view kOn = "\nOn ";
constexpr std::size_t kStepBehindOn = 3;

constexpr std::string_view kReceivedDate = "%[0-9]-%[0-9]-%[0-9] %[0-9]:%[0-9]:%[0-9]:";
constexpr std::string_view kDatedDate = "%[0-9]/%[0-9]/%[0-9] %[0-9]:%[0-9]:%[0-9] ";
/// The hour and minute may stand without seconds.
constexpr int kLeastDateFields = 5;

struct Introduction {
  std::string_view pattern;
  int fields;
};

constexpr std::array<Introduction, 13> kIntroductions = {{
    {"\nOn %s %[0-9], %[0-9], at %[0-9]:%[0-9] %[^, ], ", 6},
    {"\nOn %[0-9] %s %[0-9], at %[0-9]:%[0-9], ", 5},
    {"\nOn %[0-9] %s %[0-9] %[0-9]:%[0-9], ", 5},
    {"\nOn %[0-9].%[0-9].%[0-9], at %[0-9].%[0-9], ", 5},
    {"\nOn %[0-9].%[0-9].%[0-9], at %[0-9]:%[0-9], ", 5},
    {"\nOn %[0-9]-%[0-9]-%[0-9], at %[0-9]:%[0-9] %[^, ], ", 6},
    {"\nOn %[0-9]/%[0-9]/%[0-9] %[0-9]:%[0-9] %[^, ], ", 6},
    {"\nOn %[0-9]/%[0-9]/%[0-9], ", 3},
    {"\nOn %s %[0-9] %[0-9], at %[0-9]:%[0-9], ", 5},
    {"\nOn %[^, ], %s %[0-9], %[0-9] at %[0-9]:%[0-9] %[^, ], ", 7},
    {"\nOn %[^, ], %s %[0-9], %[0-9], at %[0-9]:%[0-9]%[^, ], ", 7},
    {"\nOn %[0-9]-%[^-]-%[0-9], at %[0-9]:%[0-9] %[^, ], ", 6},
    {"\nOn %[^, ], %[0-9] %s %[0-9] %[0-9]:%[0-9]:%[0-9] ", 7},
}};

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Reads a text by a pattern of the C library's scan functions, of which it knows blanks, literal
/// characters, %s and sets of characters. Here instead of there because the fields have no length
/// that a buffer could be made for.
class PatternReader {
 public:
  PatternReader(std::string_view text, std::string_view pattern) : text_(text), pattern_(pattern) {}

  /// How many fields are filled before something does not fit.
  int countFields() {
    while (!pattern_.empty()) {
      const char c = pattern_.front();
      if (isSpace(c)) {
        pattern_.remove_prefix(1);
        skipSpace();
      } else if (c == '%') {
        if (!readField()) break;
        ++fields_;
      } else {
        if (text_.empty() || text_.front() != c) break;
        pattern_.remove_prefix(1);
        text_.remove_prefix(1);
      }
    }
    return fields_;
  }

 private:
  void skipSpace() {
    while (!text_.empty() && isSpace(text_.front())) text_.remove_prefix(1);
  }

  bool readField() {
    if (pattern_.starts_with("%s")) {
      pattern_.remove_prefix(2);
      skipSpace();
      return take([](char c) { return !isSpace(c); });
    }
    const std::size_t end = pattern_.find(']');
    const std::string_view set = pattern_.substr(2, end - 2);
    pattern_.remove_prefix(end + 1);
    if (set == "0-9") return take([](char c) { return c >= '0' && c <= '9'; });
    const std::string_view without = set.substr(1);
    return take([without](char c) { return without.find(c) == std::string_view::npos; });
  }

  /// A run of at least one character.
  template <typename Belongs>
  bool take(Belongs belongs) {
    std::size_t length = 0;
    while (length < text_.size() && belongs(text_[length])) ++length;
    text_.remove_prefix(length);
    return length > 0;
  }

  std::string_view text_;
  std::string_view pattern_;
  int fields_ = 0;
};

bool introduces(std::string_view text) {
  for (const Introduction& known : kIntroductions) {
    if (PatternReader(text, known.pattern).countFields() >= known.fields) return true;
  }
  return false;
}

/// The introduction at `at`, when a date follows its opening words.
std::size_t datedAt(std::string_view text, std::size_t at, std::string_view opening,
                    std::string_view pattern) {
  const std::string_view rest = text.substr(at + opening.size());
  const bool dated = PatternReader(rest, pattern).countFields() >= kLeastDateFields;
  return dated ? at : std::string_view::npos;
}

}  // namespace

std::size_t findQuotedReply(std::string_view text) {
  if (const std::size_t at = text.find(kReceived); at != std::string_view::npos) {
    return datedAt(text, at, kReceived, kReceivedDate);
  }
  if (const std::size_t at = text.find(kDated); at != std::string_view::npos) {
    return datedAt(text, at, kDated, kDatedDate);
  }
  for (std::size_t at = text.find(kOn); at != std::string_view::npos;
       at = text.find(kOn, at + kStepBehindOn)) {
    if (introduces(text.substr(at))) return at;
  }
  return std::string_view::npos;
}

}  // namespace keldane

#pragma once

#include <cstddef>
#include <cstdint>

/// Where the table of each code page comes from. Neither library has every page, and some of their
/// tables fill holes that the published page leaves open, so each page names its source exactly and
/// lists what is put right.
namespace keldane::mime::code_pages {

enum class Shape : std::uint8_t {
  kSingle,  ///< One byte a character.
  kDouble,  ///< One or two bytes (three behind 8F in EUC-JP).
  kStream,  ///< With shifts or longer sequences: converted by the library, no table here.
};

enum class Origin : std::uint8_t {
  kIcu,    ///< The ICU converter `name`.
  kIconv,  ///< The iconv charset `name`; the page cannot be converted where iconv lacks it.
  kPage,   ///< The page whose number is `name`, corrected.
};

enum Flags : std::uint8_t {
  kNone = 0,
  /// Bytes below 80 are ASCII. ICU's tables of the DOS pages swap three controls, as IBM does.
  kAsciiLow = 1,
  /// What maps to U+0080 to U+009F is a hole that the source has filled.
  kC1Undefined = 2,
  /// The same for the private use area: user-defined characters, which the published pages leave
  /// undefined.
  kPrivateUndefined = 4,
  /// Two-byte characters have both bytes from A1 on: the 94 by 94 set in a larger page.
  kOnly94x94 = 8,
  /// A sequence that does not map is taken for two bytes.
  kBadLeadTakesTwo = 16,
};

struct PageSource {
  int codePage;
  Shape shape;
  Origin origin;
  const char* name;
  unsigned flags;
  /// "E6:00B5 9F:- A1-BF:0021": byte E6 is U+00B5, 9F undefined, A1 to BF count up from U+0021.
  /// "8EE0-8EE2:-": these pairs are undefined.
  const char* corrections;
};

/// Sorted by code page.
extern const PageSource kPageSources[];
extern const std::size_t kNumPageSources;

/// The row of a page; null for a page that has no source.
const PageSource* findPageSource(int codePage);

}  // namespace keldane::mime::code_pages

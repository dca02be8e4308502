#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Telling whether a row of `email` was made from a message, when the server need not have kept the
/// values as they were sent: it cuts a text at its column's length, puts "?" for characters that
/// its character set lacks, and loses line ends when the insert fell back on plain text.
namespace keldane {

/// The values of an insert into `email`, apart from the date.
struct EmailValues {
  std::string_view from;
  std::string_view to;
  std::string_view subject;
  std::string_view mailto;
  std::string_view mailbox;
  std::string_view body;
  int numAttach = 0;
};

/// How many bytes of a body a fingerprint looks at; a row's body needs no more characters than
/// that.
inline constexpr std::size_t kFingerprintBodyBytes = 1024;

/// A short text without tabs: for each value how much of it counts, and two hashes over what
/// counts. Only what survives every loss counts: no white space, no quote, no backslash, no "?",
/// nothing behind the shortest column; and for the second hash nothing outside ASCII.
[[nodiscard]] std::string fingerprintOf(const EmailValues& sent);

enum class MatchLevel {
  different,
  ascii,  ///< equal as far as ASCII goes: enough to confirm a row known by its id
  equal,
};

/// Compares a fingerprint with a row. A fingerprint that cannot be read is like nothing.
[[nodiscard]] MatchLevel compareFingerprint(std::string_view fingerprint, const EmailValues& row);

}  // namespace keldane

#pragma once

#include <cstddef>

/// How much of one message is taken apart. A text can be made of nothing but the shortest pieces,
/// each of which costs a hundred times its own size once it is an object, so a message of a few
/// megabytes could take all the memory there is. What lies beyond a limit is kept as text, the log
/// tells it, and `beyondLimits` answers true. Real mail stays far below each of them.
namespace keldane::mime::limits {

/// A multipart nested deeper keeps its body as text: each level costs stack and another search of
/// everything inside it.
inline constexpr int kMaxNesting = 200;
/// Parts of one message; all that follows is one more part, a plain text. Some two thousand bytes
/// each. Digests of a mailing list have some hundreds.
inline constexpr int kMaxParts = 10000;
/// Header fields of one message, those of its parts included; the rest of a header stays one text
/// behind them. Some three hundred bytes each.
inline constexpr int kMaxFields = 30000;
/// Parameters of one Content-Type, and of one Content-Disposition; those beyond stand in the
/// field's value alone.
inline constexpr int kMaxParameters = 10000;
/// Quoted strings of such a value; those beyond are read like text without quotes.
inline constexpr int kMaxQuotedStrings = 10000;
/// Entries of one address field; the rest of its text is the address of a last one. Some seven
/// hundred bytes each, in up to three fields.
inline constexpr int kMaxAddresses = 20000;
/// Lines of the log of one call; those beyond are counted. An undecodable word of 15 bytes would
/// fill four of them.
inline constexpr std::size_t kMaxLogEntries = 2000;
/// Bytes of one such line, which may quote the message.
inline constexpr std::size_t kMaxLogText = 4000;

}  // namespace keldane::mime::limits

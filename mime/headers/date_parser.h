#pragma once

#include <string_view>

namespace keldane::mime {

class LogBase;
struct TarnellSysTime;

/// Reads the dates of mail as they are found in the wild.
class _tnDateParser {
 public:
  /// "Mon, 2 Jan 2006 15:04:05 -0700" and its many relatives, into UTC. False: `out` is the present
  /// local time and the log tells what was missing (an empty text leaves `out` as it was). `text`
  /// null: no header at all.
  static bool parseRFC822Date(const char* text, std::size_t n, TarnellSysTime& out, LogBase& log);
  static bool parseRFC822Date(std::string_view text, TarnellSysTime& out, LogBase& log) {
    return parseRFC822Date(text.data() == nullptr ? "" : text.data(), text.size(), out, log);
  }
  /// "2006-01-02T15:04:05.25-07:00" into UTC; without a zone it is UTC. False, `out` unchanged,
  /// when it cannot be read.
  static bool AtomDateToSysTime(std::string_view text, TarnellSysTime& out, LogBase& log);
};

}  // namespace keldane::mime

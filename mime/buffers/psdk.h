#pragma once

#include <string_view>

namespace keldane::mime {

class LogBase;

/// The engine's process-wide values, all of them here. Safe from any thread.
class Psdk {
 public:
  static constexpr std::string_view kVersion = "8.0.1";
  static constexpr std::string_view kReleaseDate = "2026-11-21";

  /// Worked out once from LANG, then kept.
  static int getAnsiCodePage();
  static int getOemCodePage();
  /// The page that a value of LANG stands for. `lang` null: not set.
  static int codePageForLang(const char* lang);

  /// Called for an object with a wrong stamp. Counts it and returns; the caller goes on as if the
  /// object was absent.
  static void badObjectFound();
  /// The same with an entry in the log.
  static void badObjectFound(LogBase& log);
  static void corruptObjectFound(LogBase& log);
  static int numBadObjectsFound();
};

/// Process-wide overrides by the application.
class TnSettings {
 public:
  /// 0 goes back to what LANG says.
  static void setAnsiCodePage(int codePage);
  /// 0 goes back to 65001.
  static void setOemCodePage(int codePage);
};

}  // namespace keldane::mime

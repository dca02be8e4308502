#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class DataBuffer;
class LogContextExitor;
class StringBuffer;

/// Where every engine call reports: passed down as the last argument. Errors are always recorded;
/// `LogInfo` records only in verbose mode. `LogData` and its kin record whenever they are called,
/// so a caller tests `verbose()` first unless the data belongs to an error.
///
/// Cost when nothing is recorded: one inlined test, no text built. One thread at a time, as the
/// object that owns it.
class LogBase {
 public:
  LogBase() = default;
  LogBase(const LogBase&) = delete;
  LogBase& operator=(const LogBase&) = delete;
  virtual ~LogBase() = default;

  [[nodiscard]] bool verbose() const { return verbose_ && !nullLogging_; }
  void setVerbose(bool on) { verbose_ = on; }
  [[nodiscard]] bool nullLogging() const { return nullLogging_; }
  void setNullLogging(bool on) { nullLogging_ = on; }
  [[nodiscard]] const std::string& uncommonOptions() const { return uncommonOptions_; }
  void setUncommonOptions(std::string_view options) { uncommonOptions_ = options; }
  [[nodiscard]] std::string& lastJsonData() { return lastJsonData_; }

  virtual void getXml(StringBuffer& out) const = 0;
  virtual void getHtml(StringBuffer& out) const = 0;
  virtual void getText(StringBuffer& out) const = 0;
  virtual void LogError(std::string_view text) = 0;
  virtual void LogInfo(std::string_view text) = 0;
  virtual void LogXml(std::string_view xml) = 0;
  virtual void ClearLog() = 0;
  /// `isStatic`: the name outlives the log.
  virtual void EnterContext(std::string_view name, bool isStatic) = 0;
  virtual void LeaveContext() = 0;
  virtual void LogData(std::string_view name, std::string_view value) = 0;
  virtual void DbgLogInfo(std::string_view text) = 0;
  virtual void DbgLogData(std::string_view name, std::string_view value) = 0;
  virtual void DbgLogInt(std::string_view name, long value) = 0;
  virtual bool SaveXML(std::string_view path) const = 0;

  void LogDataSb(std::string_view name, const StringBuffer& value);
  void LogDataLong(std::string_view name, long long value);
  void LogDataBool(std::string_view name, bool value);
  void LogDataHex(std::string_view name, const void* bytes, std::size_t n);
  void LogDataQP(std::string_view name, std::string_view value);
  /// The moment of the call, UTC.
  void LogSystemTime(std::string_view name);

 protected:
  /// Writes the contexts that were entered but not yet recorded.
  void openPendingContexts();

 private:
  friend class LogContextExitor;

  LogContextExitor* innermost_ = nullptr;
  bool verbose_ = false;
  bool nullLogging_ = false;
  std::string uncommonOptions_;
  std::string lastJsonData_;
};

/// Scope guard of a log context, opened under the name of nearly every engine function so that the
/// log reads as a call tree. A push of one pointer: the context is recorded only once something is
/// logged inside it. `name` must outlive the scope.
class LogContextExitor {
 public:
  LogContextExitor(LogBase& log, const char* name)
      : log_(log), name_(name), outer_(log.innermost_) {
    log.innermost_ = this;
  }
  ~LogContextExitor() {
    if (recorded_) log_.LeaveContext();
    log_.innermost_ = outer_;
    stamp_ = 0;
  }
  LogContextExitor(const LogContextExitor&) = delete;
  LogContextExitor& operator=(const LogContextExitor&) = delete;

 private:
  friend class LogBase;

  LogBase& log_;
  const char* name_;
  LogContextExitor* outer_;
  std::uint32_t stamp_ = Stamps::kLogContextExitor;
  bool recorded_ = false;
};

/// Discards all: for trials that must leave no trace. Cheap to make; make one where it is needed.
class LogNull final : public LogBase {
 public:
  LogNull() { setNullLogging(true); }
  void getXml(StringBuffer&) const override {}
  void getHtml(StringBuffer&) const override {}
  void getText(StringBuffer&) const override {}
  void LogError(std::string_view) override {}
  void LogInfo(std::string_view) override {}
  void LogXml(std::string_view) override {}
  void ClearLog() override {}
  void EnterContext(std::string_view, bool) override {}
  void LeaveContext() override {}
  void LogData(std::string_view, std::string_view) override {}
  void DbgLogInfo(std::string_view) override {}
  void DbgLogData(std::string_view, std::string_view) override {}
  void DbgLogInt(std::string_view, long) override {}
  bool SaveXML(std::string_view) const override { return true; }
};

/// The log of one public object: entries in call order with the depth of their context. Its own
/// mutex lets another thread read the text while a call runs.
///
/// What a message can make a call say is bounded (`limits::kMaxLogEntries`, `kMaxLogText`): the
/// entries beyond are counted, the last error among them is kept, and only the debug file has them
/// all.
class _tnLogger final : public LogBase {
 public:
  void getXml(StringBuffer& out) const override;
  void getHtml(StringBuffer& out) const override;
  void getText(StringBuffer& out) const override;
  void LogError(std::string_view text) override;
  void LogInfo(std::string_view text) override;
  void LogXml(std::string_view xml) override;
  void ClearLog() override;
  void EnterContext(std::string_view name, bool isStatic) override;
  void LeaveContext() override;
  void LogData(std::string_view name, std::string_view value) override;
  void DbgLogInfo(std::string_view text) override;
  void DbgLogData(std::string_view name, std::string_view value) override;
  void DbgLogInt(std::string_view name, long value) override;
  bool SaveXML(std::string_view path) const override;

  /// Each line is also appended to this file, opened and closed each time; empty turns it off.
  void setDebugLogFilePath(std::string_view path);
  /// As LogInfo, but whether verbose or not: the outcome of a call.
  void LogOutcome(std::string_view text);
  /// A fresh log with the context of a public call and the engine's version in it. Both texts of
  /// this pair are literals: they are only pointed at until the log is read, so that a call that
  /// records nothing else costs next to nothing.
  void StartCall(const char* name);
  /// The outcome, and out of the context of the call.
  void FinishCall(const char* outcome);

 private:
  enum class Kind : std::uint8_t { kError, kInfo, kData, kXml, kEnter, kLeave };
  struct Entry {
    Kind kind;
    int depth;
    std::string name;
    std::string text;
  };

  /// A context entered and not left.
  struct Context {
    std::string name;
    bool isKept;
  };

  void record(Kind kind, std::string_view name, std::string_view text);
  void clearLocked();
  void writeDebugLine(const Entry& entry) const;
  void writeDebugLines(std::vector<Entry> (_tnLogger::*entries)() const) const;
  std::vector<Entry> callHead() const;
  std::vector<Entry> callTail() const;
  std::vector<Entry> omittedTail() const;
  std::vector<Entry> allEntries() const;
  static void renderText(const Entry& entry, StringBuffer& out);

  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::size_t omitted_ = 0;
  std::string lastOmittedError_;
  int depth_ = 0;
  std::vector<Context> open_;
  const char* callName_ = nullptr;
  const char* callOutcome_ = nullptr;
  std::string debugPath_;
};

}  // namespace keldane::mime

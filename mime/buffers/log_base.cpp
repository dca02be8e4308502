#include "mime/buffers/log_base.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <new>

#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"
#include "mime/limits.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kIndentBlanks = 4;
constexpr char kHexDigits[] = "0123456789ABCDEF";

void appendMarkup(std::string_view text, StringBuffer& out) {
  for (const char c : text) {
    switch (c) {
      case '<':
        out.append("&lt;");
        break;
      case '>':
        out.append("&gt;");
        break;
      case '&':
        out.append("&amp;");
        break;
      case '"':
        out.append("&quot;");
        break;
      default:
        out.appendChar(c);
    }
  }
}

/// A text out of a message as the log keeps it, cut at its limit.
std::string keptText(std::string_view text) {
  if (text.size() <= limits::kMaxLogText) return std::string(text);
  return std::string(text.substr(0, limits::kMaxLogText)) + "... (" + std::to_string(text.size()) +
         " bytes)";
}

}  // namespace

// ---- Psdk, where it logs

void Psdk::badObjectFound(LogBase& log) {
  badObjectFound();
  log.LogError("Bad object found.");
}

void Psdk::corruptObjectFound(LogBase& log) {
  badObjectFound();
  log.LogError("Corrupt object found.");
}

// ---- LogBase

void LogBase::openPendingContexts() {
  // The recorded contexts are an outer stretch of the chain; the rest is opened from outside in.
  if (!innermost_ || innermost_->recorded_) return;
  std::vector<LogContextExitor*> pending;
  for (LogContextExitor* c = innermost_; c && !c->recorded_; c = c->outer_) {
    if (c->stamp_ != Stamps::kLogContextExitor) {
      Psdk::badObjectFound();
      break;
    }
    pending.push_back(c);
  }
  // All of them are marked before the first is entered, because entering comes back here.
  for (LogContextExitor* c : pending) c->recorded_ = true;
  for (auto it = pending.rbegin(); it != pending.rend(); ++it) EnterContext((*it)->name_, true);
}

void LogBase::LogDataSb(std::string_view name, const StringBuffer& value) {
  if (nullLogging_) return;
  if (!value.isValidObject()) {
    Psdk::badObjectFound();
    return;
  }
  LogData(name, value.view());
}

void LogBase::LogDataLong(std::string_view name, long long value) {
  if (nullLogging_) return;
  StringBuffer digits;
  digits.appendInt(value);
  LogData(name, digits.view());
}

void LogBase::LogDataBool(std::string_view name, bool value) {
  if (!nullLogging_) LogData(name, value ? "true" : "false");
}

void LogBase::LogDataHex(std::string_view name, const void* bytes, std::size_t n) {
  if (nullLogging_ || !bytes) return;
  StringBuffer hex;
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<const unsigned char*>(bytes)[i];
    hex.appendChar(kHexDigits[c >> 4]);
    hex.appendChar(kHexDigits[c & 15]);
  }
  LogData(name, hex.view());
}

void LogBase::LogDataQP(std::string_view name, std::string_view value) {
  if (nullLogging_) return;
  StringBuffer quoted;
  for (const char ch : value) {
    const auto c = static_cast<unsigned char>(ch);
    if (c >= 32 && c <= 126 && c != '=') {
      quoted.appendChar(ch);
    } else {
      quoted.appendChar('=');
      quoted.appendChar(kHexDigits[c >> 4]);
      quoted.appendChar(kHexDigits[c & 15]);
    }
  }
  LogData(name, quoted.view());
}

void LogBase::LogSystemTime(std::string_view name) {
  if (nullLogging_) return;
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 40> text{};
  const std::size_t n = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  LogData(name, {text.data(), n});
}

// ---- _tnLogger

void _tnLogger::record(Kind kind, std::string_view name, std::string_view text) {
  if (nullLogging()) return;
  try {
    if (kind != Kind::kLeave) openPendingContexts();
    const std::lock_guard<std::mutex> lock(mutex_);
    bool isKept = entries_.size() < limits::kMaxLogEntries;
    Entry entry{kind, depth_, keptText(name), keptText(text)};
    if (kind == Kind::kEnter) {
      open_.push_back({entry.name, isKept});
      ++depth_;
    } else if (kind == Kind::kLeave) {
      if (open_.empty()) return;
      // A context in the log has its end there too.
      isKept = open_.back().isKept;
      entry.name = std::move(open_.back().name);
      entry.depth = --depth_;
      open_.pop_back();
    }
    if (!debugPath_.empty()) writeDebugLine(entry);
    if (isKept) {
      entries_.push_back(std::move(entry));
    } else {
      ++omitted_;
      if (kind == Kind::kError) lastOmittedError_ = std::move(entry.text);
    }
  } catch (const std::bad_alloc&) {
    // A log that cannot grow must not bring down the call that it tells of.
    return;
  }
}

void _tnLogger::StartCall(const char* name) {
  if (nullLogging()) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  clearLocked();
  callName_ = name;
  depth_ = 1;
  writeDebugLines(&_tnLogger::callHead);
}

void _tnLogger::FinishCall(const char* outcome) {
  if (nullLogging()) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  callOutcome_ = outcome;
  depth_ = 0;
  writeDebugLines(&_tnLogger::callTail);
}

void _tnLogger::writeDebugLines(std::vector<Entry> (_tnLogger::*entries)() const) const {
  if (debugPath_.empty()) return;
  try {
    for (const Entry& entry : (this->*entries)()) writeDebugLine(entry);
  } catch (const std::bad_alloc&) {
    // As in `record`.
    return;
  }
}

std::vector<_tnLogger::Entry> _tnLogger::callHead() const {
  if (!callName_) return {};
  return {{Kind::kEnter, 0, callName_, ""},
          {Kind::kData, 1, "TarnellVersion", std::string(Psdk::kVersion)},
          {Kind::kData, 1, "DllDate", std::string(Psdk::kReleaseDate)}};
}

std::vector<_tnLogger::Entry> _tnLogger::callTail() const {
  if (!callName_ || !callOutcome_) return {};
  return {{Kind::kInfo, 1, "", callOutcome_}, {Kind::kLeave, 0, callName_, ""}};
}

std::vector<_tnLogger::Entry> _tnLogger::omittedTail() const {
  std::vector<Entry> tail;
  if (omitted_ != 0) {
    tail.push_back({Kind::kInfo, 1, "", std::to_string(omitted_) + " more entries are left out."});
  }
  // What a call failed of is told last.
  if (!lastOmittedError_.empty()) tail.push_back({Kind::kError, 1, "", lastOmittedError_});
  return tail;
}

std::vector<_tnLogger::Entry> _tnLogger::allEntries() const {
  std::vector<Entry> all = callHead();
  all.insert(all.end(), entries_.begin(), entries_.end());
  for (const std::vector<Entry>& more : {omittedTail(), callTail()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

void _tnLogger::LogError(std::string_view text) { record(Kind::kError, {}, text); }

void _tnLogger::LogInfo(std::string_view text) {
  if (verbose()) record(Kind::kInfo, {}, text);
}

void _tnLogger::LogOutcome(std::string_view text) { record(Kind::kInfo, {}, text); }

void _tnLogger::LogXml(std::string_view xml) { record(Kind::kXml, {}, xml); }

void _tnLogger::LogData(std::string_view name, std::string_view value) {
  record(Kind::kData, name, value);
}

void _tnLogger::DbgLogInfo(std::string_view text) { LogInfo(text); }

void _tnLogger::DbgLogData(std::string_view name, std::string_view value) {
  if (verbose()) LogData(name, value);
}

void _tnLogger::DbgLogInt(std::string_view name, long value) {
  if (verbose()) LogDataLong(name, value);
}

void _tnLogger::EnterContext(std::string_view name, bool) { record(Kind::kEnter, name, {}); }

void _tnLogger::LeaveContext() { record(Kind::kLeave, {}, {}); }

void _tnLogger::ClearLog() {
  const std::lock_guard<std::mutex> lock(mutex_);
  clearLocked();
}

void _tnLogger::clearLocked() {
  entries_.clear();
  omitted_ = 0;
  lastOmittedError_.clear();
  open_.clear();
  depth_ = 0;
  callName_ = nullptr;
  callOutcome_ = nullptr;
}

void _tnLogger::setDebugLogFilePath(std::string_view path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  debugPath_ = path;
}

void _tnLogger::renderText(const Entry& entry, StringBuffer& out) {
  out.appendCharN(' ', static_cast<std::size_t>(entry.depth) * kIndentBlanks);
  switch (entry.kind) {
    case Kind::kEnter:
      out.append2(entry.name, ":\n");
      break;
    case Kind::kLeave:
      out.append3("--", entry.name, "\n");
      break;
    case Kind::kData:
      out.append3(entry.name, ": ", entry.text);
      out.appendChar('\n');
      break;
    default:
      out.append2(entry.text, "\n");
  }
}

void _tnLogger::writeDebugLine(const Entry& entry) const {
  std::FILE* file = std::fopen(debugPath_.c_str(), "ab");
  if (!file) return;
  StringBuffer line;
  renderText(entry, line);
  std::fwrite(line.getString(), 1, line.getSize(), file);
  std::fclose(file);
}

void _tnLogger::getText(StringBuffer& out) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  out.weakClear();
  for (const Entry& entry : allEntries()) renderText(entry, out);
}

void _tnLogger::getXml(StringBuffer& out) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  out.weakClear();
  out.append("<log>");
  int open = 0;
  for (const Entry& entry : allEntries()) {
    open += entry.kind == Kind::kEnter ? 1 : entry.kind == Kind::kLeave ? -1 : 0;
    switch (entry.kind) {
      case Kind::kEnter:
        out.append("<context name=\"");
        appendMarkup(entry.name, out);
        out.append("\">");
        break;
      case Kind::kLeave:
        out.append("</context>");
        break;
      case Kind::kXml:
        out.append(entry.text);
        break;
      default:
        out.append(entry.kind == Kind::kError ? "<error" : "<info");
        if (!entry.name.empty()) {
          out.append(" name=\"");
          appendMarkup(entry.name, out);
          out.appendChar('"');
        }
        out.appendChar('>');
        appendMarkup(entry.text, out);
        out.append(entry.kind == Kind::kError ? "</error>" : "</info>");
    }
  }
  for (; open > 0; --open) out.append("</context>");
  out.append("</log>");
}

void _tnLogger::getHtml(StringBuffer& out) const {
  StringBuffer text;
  getText(text);
  out.weakClear();
  out.append("<pre>");
  appendMarkup(text.view(), out);
  out.append("</pre>");
}

bool _tnLogger::SaveXML(std::string_view path) const {
  StringBuffer xml;
  getXml(xml);
  std::FILE* file = std::fopen(std::string(path).c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(xml.getString(), 1, xml.getSize(), file) == xml.getSize();
  return std::fclose(file) == 0 && written;
}

}  // namespace keldane::mime

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class DataBuffer;
class XString;

/// Base of the engine's public objects: a lock, a log, the outcome of the last call, a reference
/// count (1 at the start; the last `decRefCount` deletes).
///
/// A public method takes `CritSecExitor lock(*this)`, calls `enterContextBase`, works with `log_`,
/// and ends with `logSuccessFailure` and `leaveContextBase`; `ClsCall` below does all of it. The
/// lock is recursive. The story of a call stays readable until the next public call.
class ClsBase {
 public:
  ClsBase() = default;
  ClsBase(const ClsBase&) = delete;
  ClsBase& operator=(const ClsBase&) = delete;

  void incRefCount() { refCount_.fetch_add(1, std::memory_order_relaxed); }
  void decRefCount();
  /// Makes the object refuse every further call and gives up the caller's reference.
  void deleteObject();
  [[nodiscard]] bool isValidObject() const {
    return stamp_.load(std::memory_order_relaxed) == Stamps::kClsBase;
  }

  void get_LastErrorText(StringBuffer& out) const { log_.getText(out); }
  void get_LastErrorXml(StringBuffer& out) const { log_.getXml(out); }
  void get_LastErrorHtml(StringBuffer& out) const { log_.getHtml(out); }
  [[nodiscard]] bool get_LastMethodSuccess() const { return lastSuccess_; }
  void put_LastMethodSuccess(bool ok) { lastSuccess_ = ok; }
  [[nodiscard]] bool get_VerboseLogging() const { return verboseLogging_; }
  void put_VerboseLogging(bool on);
  void put_DebugLogFilePath(std::string_view path) { log_.setDebugLogFilePath(path); }

  /// Clears the log and opens the context of a public call. False for a deleted object: the call
  /// is then to be refused.
  bool enterContextBase(const char* name);
  void leaveContextBase() { log_.LeaveContext(); }
  /// Records "Success." or "Failed." and the flag.
  void logSuccessFailure(bool ok);
  /// `logSuccessFailure` and `leaveContextBase` in one.
  void finishCall(bool ok);
  /// Bytes of a charset as text; 65001 takes them as they stand, but for a leading BOM. Replaces
  /// `out`.
  bool dbToXString_cp(int codePage, const DataBuffer& db, XString& out, LogBase& log);

  [[nodiscard]] std::recursive_mutex& criticalSection() const { return criticalSection_; }
  [[nodiscard]] _tnLogger& log() { return log_; }

 protected:
  virtual ~ClsBase();

  mutable _tnLogger log_;

 private:
  std::atomic<std::uint32_t> stamp_{Stamps::kClsBase};
  std::atomic<int> refCount_{1};
  std::atomic<bool> lastSuccess_{true};
  std::atomic<bool> verboseLogging_{false};
  mutable std::recursive_mutex criticalSection_;
};

/// Holds the object's critical section for a scope.
class CritSecExitor {
 public:
  explicit CritSecExitor(const ClsBase& object) : lock_(object.criticalSection()) {}

 private:
  std::lock_guard<std::recursive_mutex> lock_;
};

/// One public call: lock, fresh log with the call's context, and on the way out the outcome.
/// `if (!call.ok()) return false;` refuses a deleted object; `return call.finish(result);` ends it.
/// Without `finish` the call counts as failed.
class ClsCall {
 public:
  ClsCall(ClsBase& object, const char* name)
      : object_(object), lock_(object), entered_(object.enterContextBase(name)) {}
  ~ClsCall() {
    if (entered_) object_.finishCall(success_);
  }
  ClsCall(const ClsCall&) = delete;
  ClsCall& operator=(const ClsCall&) = delete;

  [[nodiscard]] bool ok() const { return entered_; }
  bool finish(bool success) { return success_ = success; }
  [[nodiscard]] LogBase& log() { return object_.log(); }

 private:
  ClsBase& object_;
  CritSecExitor lock_;
  bool entered_;
  bool success_ = false;
};

/// Owning pointer to a reference-counted engine object.
template <typename T>
class ClsRef {
 public:
  ClsRef() = default;
  /// Takes over the reference that the caller holds.
  explicit ClsRef(T* object) : object_(object) {}
  ClsRef(ClsRef&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  ClsRef(const ClsRef& other) : object_(other.object_) {
    if (object_) object_->incRefCount();
  }
  ClsRef& operator=(ClsRef other) noexcept {
    T* mine = object_;
    object_ = other.object_;
    other.object_ = mine;
    return *this;
  }
  ~ClsRef() {
    if (object_) object_->decRefCount();
  }
  [[nodiscard]] T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

/// A new object; null when there is no memory for it.
template <typename T>
std::unique_ptr<T> makeOrNull() noexcept {
  try {
    return std::make_unique<T>();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// The story of the object's last call; empty without an object, and when memory runs out.
[[nodiscard]] std::string errorTextOf(const ClsBase* object) noexcept;

/// Base of the `Tn*` wrappers: their stamp and the flag that says how their texts are meant (UTF-8,
/// unless switched off).
class TnMultiByteBase {
 public:
  TnMultiByteBase() = default;
  TnMultiByteBase(const TnMultiByteBase&) = delete;
  TnMultiByteBase& operator=(const TnMultiByteBase&) = delete;
  virtual ~TnMultiByteBase() { stamp_ = 0; }

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kTnMultiByteBase; }
  [[nodiscard]] bool get_Utf8() const { return utf8_; }
  void put_Utf8(bool on) { utf8_ = on; }

 private:
  volatile std::uint32_t stamp_ = Stamps::kTnMultiByteBase;
  bool utf8_ = true;
};

}  // namespace keldane::mime

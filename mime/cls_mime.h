#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "mime/cls_base.h"
#include "mime/tree/mime_message.h"
#include "mime/tree/part_walk.h"

namespace keldane::mime {

/// The tree that `ClsMime` objects share: one document, one lock, counted references.
class SharedMime {
 public:
  SharedMime() = default;
  SharedMime(const SharedMime&) = delete;
  SharedMime& operator=(const SharedMime&) = delete;

  void incRefCount() { refCount_.fetch_add(1, std::memory_order_relaxed); }
  void decRefCount();
  /// A new empty document; every part known so far ceases to exist.
  void initNew() { root_ = std::make_unique<MimeMessage2>(); }
  [[nodiscard]] MimeMessage2& root() { return *root_; }
  /// The part with that number; null, and an error in the log, when it is no longer there.
  MimeMessage2* findPart_Careful(std::uint64_t partId, LogBase& log);
  [[nodiscard]] std::recursive_mutex& criticalSection() { return criticalSection_; }

 private:
  ~SharedMime() = default;

  std::atomic<int> refCount_{1};
  std::recursive_mutex criticalSection_;
  std::unique_ptr<MimeMessage2> root_ = std::make_unique<MimeMessage2>();
};

/// Public face of one tree of MIME parts. Every call holds the object's lock and that of the shared
/// tree, starts a fresh log and ends it with "Success." or "Failed.".
class ClsMime final : public ClsBase {
 public:
  ClsMime();

  /// False only for the size limit on a header that does not end, and when memory runs out.
  bool LoadMime(XString& text);
  /// The same without a copy of the text; a leading BOM is left out.
  bool LoadMimeUtf8(std::string_view text);
  /// The bytes of a file that is not UTF-8, see `MimeMessage2::loadFileBytes`.
  bool LoadMimeBytes(std::string_view bytes);
  /// Replaces `out` by the message written anew.
  bool GetMime(StringBuffer& out);
  /// Replaces `out` by the first field of that name, encoded words decoded. False when missing:
  /// "Header field does not exist".
  bool GetHeaderField(std::string_view name, XString& out);
  /// Shows each leaf of the tree, and uses the tree up, see `walkParts`.
  bool takeLeaves(const PartVisitor& visit);
  /// Something of the message was kept as text because it lay beyond a limit.
  [[nodiscard]] bool isBeyondLimits();
  /// Appends the tree, one indented line a part; control characters of the message's own texts are
  /// shown as `?`.
  bool describeTree(StringBuffer& out);

 private:
  ~ClsMime() override = default;

  /// The part that this object stands for. When it is gone the object starts afresh with an empty
  /// document.
  MimeMessage2& part(LogBase& log);
  template <typename Loader>
  bool load(std::string_view text, const Loader& loader);

  ClsRef<SharedMime> shared_;
  std::uint64_t partId_ = 0;
};

}  // namespace keldane::mime

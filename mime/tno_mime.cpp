#include "mime/tno_mime.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "mime/buffers/byte_search.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/cls_base.h"
#include "mime/tree/mime_emit.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kBom = "\xEF\xBB\xBF";

/// The boundary of a text that begins with a delimiter in place of a header; false for any other.
bool isHeadless(std::string_view text, std::string_view& boundary) {
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  if (!text.starts_with("--")) return false;
  const std::size_t lineEnd = text.find_first_of("\r\n");
  if (lineEnd == kNone) return false;
  boundary = text.substr(2, lineEnd - 2);
  return true;
}

/// Appends a header that makes the text behind it a multipart of that boundary.
bool appendHeaderFor(std::string_view boundary, std::string_view text, StringBuffer& out) {
  return out.append3("Content-Type: multipart/mixed;\r\n\tboundary=\"", boundary, "\"\r\n") &&
         out.append(text.starts_with('\n') ? "\r" : "\r\n") && out.append(text);
}

/// A text out of a message, made fit to be shown on one line of a terminal.
void appendShown(std::string_view text, StringBuffer& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\xFF');
    // The upper control codes, of two bytes in UTF-8, steer terminals as well.
    const bool upper = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    out.appendChar(upper || byte < 0x20 || byte == 0x7F ? '?' : text[i]);
    if (upper) ++i;
  }
}

void appendLabelled(std::string_view label, std::string_view text, StringBuffer& out) {
  if (text.empty()) return;
  out.append2("; ", label);
  appendShown(text, out);
}

void describePart(const MimeMessage2& part, int depth, StringBuffer& out) {
  out.appendCharN(' ', static_cast<std::size_t>(depth) * 2);
  const std::string_view type = part.getContentType().contentType().view();
  appendShown(type.empty() ? "(no type)" : type, out);
  appendLabelled("charset=", part.getCharset().nameView(), out);
  appendLabelled("encoding=", part.getContentEncoding().view(), out);
  appendLabelled("disposition=", part.getDisposition().view(), out);
  const StringBuffer& filename = part.getMimeFilename();
  appendLabelled(
      "name=", filename.isEmpty() ? part.getContentType().name().view() : filename.view(), out);
  const int parts = part.getNumParts();
  out.append("; ");
  out.appendInt(parts > 0 ? parts : static_cast<long long>(part.getMimeBodyDb().getSize()));
  out.append(parts > 0 ? " parts\n" : " bytes\n");
  for (int i = 0; i < parts; ++i) {
    if (const MimeMessage2* child = part.getPart(i)) describePart(*child, depth + 1, out);
  }
}

MimeMessage2* findPartBelow(MimeMessage2& part, std::uint64_t partId) {
  if (part.objectId() == partId) return &part;
  for (int i = 0; i < part.getNumParts(); ++i) {
    MimeMessage2* child = part.getPart(i);
    MimeMessage2* found = child ? findPartBelow(*child, partId) : nullptr;
    if (found) return found;
  }
  return nullptr;
}

}  // namespace

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

/// One tree of MIME parts. Every call holds the object's lock and that of the shared
/// tree, starts a fresh log and ends it with "Success." or "Failed.".
class ClsMime final : public ClsBase {
 public:
  ClsMime();

  /// False only for the size limit on a header that does not end, and when memory runs out. A
  /// leading BOM is left out.
  bool LoadMime(std::string_view text);
  /// The bytes of a file that is not UTF-8, see `MimeMessage2::loadFileBytes`.
  bool LoadMimeBytes(std::string_view bytes);
  /// Replaces `out` by the message written anew.
  bool GetMime(StringBuffer& out);
  /// Replaces `out` by the first field of that name, encoded words decoded. False when missing:
  /// "Header field does not exist".
  bool GetHeaderField(std::string_view name, StringBuffer& out);
  /// Shows each leaf of the tree, and uses the tree up, see `walkParts`.
  bool takeLeaves(const PartVisitor& visit, const ContainerVisitor& enter);
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

void SharedMime::decRefCount() {
  if (refCount_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

MimeMessage2* SharedMime::findPart_Careful(std::uint64_t partId, LogBase& log) {
  MimeMessage2* part = findPartBelow(*root_, partId);
  if (!part) log.LogError("Internal MIME part no longer exists within the MIME document.");
  return part;
}

ClsMime::ClsMime() : shared_(new SharedMime), partId_(shared_->root().objectId()) {}

MimeMessage2& ClsMime::part(LogBase& log) {
  MimeMessage2* found = shared_->findPart_Careful(partId_, log);
  if (found) return *found;
  shared_->initNew();
  partId_ = shared_->root().objectId();
  return shared_->root();
}

bool ClsMime::LoadMime(std::string_view text) {
  return load(text, [](MimeMessage2& root, std::string_view mime, LogBase& log) {
    return root.loadMimeComplete(mime, log, true);
  });
}

bool ClsMime::LoadMimeBytes(std::string_view bytes) {
  return load(bytes, [](MimeMessage2& root, std::string_view mime, LogBase& log) {
    return root.loadFileBytes(mime, log);
  });
}

template <typename Loader>
bool ClsMime::load(std::string_view text, const Loader& loader) {
  ClsCall call(*this, "LoadMime");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  if (text.starts_with(kBom)) text.remove_prefix(kBom.size());
  StringBuffer withHeader;
  std::string_view boundary;
  if (isHeadless(text, boundary)) {
    call.log().LogInfo("MIME has no header.  Auto-detecting boundary string (1)");
    if (!appendHeaderFor(boundary, text, withHeader)) return call.finish(false);
    text = withHeader.view();
  }
  return call.finish(loader(part(call.log()), text, call.log()));
}

bool ClsMime::GetMime(StringBuffer& out) {
  ClsCall call(*this, "GetMime");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  LogBase& log = call.log();
  MimeMessage2& root = part(log);
  out.weakClear();
  root.makeBinarySafeForString(log);
  const bool ok = getMimeTextUtf8(root, out, log);
  root.restoreBinarySafeForString(log);
  if (out.beginsWith(kBom)) out.removeFromStart(kBom.size());
  return call.finish(ok);
}

bool ClsMime::GetHeaderField(std::string_view name, StringBuffer& out) {
  ClsCall call(*this, "GetHeaderField");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  out.weakClear();
  if (!part(call.log()).getHeaderFieldUtf8(trimmed(name), out, call.log())) {
    call.log().LogError("Header field does not exist");
    call.log().LogData("fieldName", name);
    return call.finish(false);
  }
  if (out.beginsWith(kBom)) out.removeFromStart(kBom.size());
  return call.finish(true);
}

bool ClsMime::takeLeaves(const PartVisitor& visit, const ContainerVisitor& enter) {
  ClsCall call(*this, "takeLeaves");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  return call.finish(walkParts(part(call.log()), visit, enter, call.log()));
}

bool ClsMime::isBeyondLimits() {
  const CritSecExitor lock(*this);
  const std::lock_guard treeLock(shared_->criticalSection());
  LogNull quiet;
  return part(quiet).isBeyondLimits();
}

bool ClsMime::describeTree(StringBuffer& out) {
  ClsCall call(*this, "describeTree");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  describePart(part(call.log()), 0, out);
  return call.finish(true);
}

// ---- The wrapper

/// Holds the object, and the flag that tells how the last call ended: false until it has.
class TnMime : public TnMultiByteBase {
 public:
  ClsMime& object() { return *object_; }

  /// `self`: null when there was no memory even for the object.
  template <typename Call>
  static bool run(const std::unique_ptr<TnMime>& self, const Call& call) {
    if (!self) return false;
    ClsMime& mime = *self->object_;
    mime.put_LastMethodSuccess(false);
    bool ok = false;
    // The one place where the standard library's strings come in, and so its exceptions.
    try {
      ok = call(mime);
    } catch (const std::bad_alloc&) {
      ok = false;
    }
    mime.put_LastMethodSuccess(ok);
    return ok;
  }

 private:
  ClsRef<ClsMime> object_{new ClsMime};
};

TnoMime::TnoMime() : impl_(makeOrNull<TnMime>()) {}
TnoMime::~TnoMime() = default;

bool TnoMime::LoadMime(std::string_view text) {
  return TnMime::run(impl_, [text](ClsMime& mime) { return mime.LoadMime(text); });
}

bool TnoMime::LoadMimeBytes(std::string_view bytes) {
  return TnMime::run(impl_, [bytes](ClsMime& mime) { return mime.LoadMimeBytes(bytes); });
}

bool TnoMime::takeLeaves(const PartVisitor& visit, const ContainerVisitor& enter) {
  return TnMime::run(impl_, [&](ClsMime& mime) { return mime.takeLeaves(visit, enter); });
}

bool TnoMime::takeMimeText(StringBuffer& out) {
  return TnMime::run(impl_, [&out](ClsMime& mime) { return mime.GetMime(out); });
}

std::optional<std::string> TnoMime::GetMime() {
  std::optional<std::string> result;
  const bool ok = TnMime::run(impl_, [&result](ClsMime& mime) {
    StringBuffer text;
    if (!mime.GetMime(text)) return false;
    result.emplace(text.view());
    return true;
  });
  return ok ? std::move(result) : std::nullopt;
}

std::optional<std::string> TnoMime::GetHeaderField(std::string_view name) {
  std::optional<std::string> result;
  const bool ok = TnMime::run(impl_, [&result, name](ClsMime& mime) {
    StringBuffer value;
    if (!mime.GetHeaderField(name, value)) return false;
    mendUtf8(result.emplace(value.view()));
    return true;
  });
  return ok ? std::move(result) : std::nullopt;
}

bool TnoMime::beyondLimits() const { return impl_->object().isBeyondLimits(); }

std::string TnoMime::describeTree() {
  std::string result;
  (void)TnMime::run(impl_, [&result](ClsMime& mime) {
    StringBuffer text;
    if (!mime.describeTree(text)) return false;
    result = text.view();
    return true;
  });
  return result;
}

bool TnoMime::LastMethodSuccess() const { return impl_ && impl_->object().get_LastMethodSuccess(); }

std::string TnoMime::LastErrorText() const {
  return errorTextOf(impl_ ? &impl_->object() : nullptr);
}

void TnoMime::setVerboseLogging(bool on) {
  if (impl_) impl_->object().put_VerboseLogging(on);
}

}  // namespace keldane::mime

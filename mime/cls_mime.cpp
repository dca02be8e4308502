#include "mime/cls_mime.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/xstring.h"
#include "mime/tree/mime_emit.h"

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

bool ClsMime::LoadMime(XString& text) { return LoadMimeUtf8(text.utf8View()); }

bool ClsMime::LoadMimeUtf8(std::string_view text) {
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

bool ClsMime::GetHeaderField(std::string_view name, XString& out) {
  ClsCall call(*this, "GetHeaderField");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  StringBuffer value;
  if (!part(call.log()).getHeaderFieldUtf8(trimmed(name), value, call.log())) {
    call.log().LogError("Header field does not exist");
    call.log().LogData("fieldName", name);
    return call.finish(false);
  }
  return call.finish(out.takeFromUtf8Sb(value));
}

bool ClsMime::takeLeaves(const PartVisitor& visit) {
  ClsCall call(*this, "takeLeaves");
  if (!call.ok()) return false;
  const std::lock_guard lock(shared_->criticalSection());
  return call.finish(walkParts(part(call.log()), visit, call.log()));
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

}  // namespace keldane::mime

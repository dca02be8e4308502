#include "mime/headers/mime_header.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/parse_engine.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/headers/content_type.h"
#include "mime/headers/header_charset.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kContentType = "content-type";

/// A copy with all line ends as CR LF, for headers with a mixture of them.
std::string_view normalised(std::string_view text, StringBuffer& copy) {
  copy.setString(text);
  copy.toLF();
  copy.toCRLF();
  return copy.view();
}

/// The header at the beginning of `text`. Most end at the terminator; mail that passed through bad
/// hands ends at what is left of one. `copy` holds the header when its line ends had to be mended.
std::string_view findHeader(std::string_view text, std::string_view terminator, StringBuffer& copy,
                            LogBase& log) {
  std::size_t end = findBytes(text, terminator);
  if (end != kNone) {
    const std::string_view header = text.substr(0, end);
    // Nothing to convert: every form of line end is understood, and without a CR LF none is masked.
    if (log.verbose() && !containsBytes(header, "\r\n")) {
      log.LogInfo("No CRLF's found in header.  Converting line endings to CRLF.");
    }
    return header;
  }
  const char* message = "Found LFCRLF to terminate MIME header, but not CRLFCRLF.";
  end = findBytes(text, "\n\r\n");
  if (end == kNone) {
    message = "Found CRLFCR to terminate MIME header, but not CRLFCRLF.";
    end = findBytes(text, "\r\n\r");
  }
  const std::size_t doubleLf = findBytes(text.substr(0, end == kNone ? text.size() : end), "\n\n");
  if (end == kNone) message = "Found LFLF to terminate MIME header, but not CRLFCRLF.";
  if (doubleLf != kNone) end = doubleLf;
  if (end != kNone) {
    if (log.verbose()) log.LogInfo(message);
    return normalised(text.substr(0, end), copy);
  }
  if (log.verbose()) log.LogInfo("No end-of-header double CRLF found.");
  const std::string_view all = normalised(text, copy);
  return all.substr(0, findBytes(all, terminator));
}

/// Cuts a text into lines without their ends; CR LF, CR and LF each end one. A cursor of its own:
/// it is the one loop over every byte of a header, and keeps the next of both line ends.
class LineCutter {
 public:
  explicit LineCutter(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {
    feed_ = find('\n');
    carriage_ = find('\r');
  }
  bool next(std::string_view& line) {
    if (at_ == end_) return false;
    const char* stop = feed_ < carriage_ ? feed_ : carriage_;
    line = {at_, static_cast<std::size_t>(stop - at_)};
    at_ = stop;
    if (stop == end_) return true;
    at_ += stop + 1 < end_ && stop[0] == '\r' && stop[1] == '\n' ? 2 : 1;
    if (feed_ < at_) feed_ = find('\n');
    if (carriage_ < at_) carriage_ = find('\r');
    return true;
  }
  [[nodiscard]] std::size_t bytesLeft() const { return static_cast<std::size_t>(end_ - at_); }

 private:
  [[nodiscard]] const char* find(char c) const {
    const void* found = at_ == end_ ? nullptr : std::memchr(at_, c, bytesLeft());
    return found ? static_cast<const char*>(found) : end_;
  }

  const char* at_;
  const char* end_;
  // The next of each, or the end: looked for once, or a text with one kind only would be searched
  // to its end for the other kind at each line.
  const char* feed_;
  const char* carriage_;
};

}  // namespace

/// One run over the lines of a header. A field that stands on one line is taken straight from the
/// text; folded ones are joined in a buffer that all fields share.
class MimeHeader::Loader {
 public:
  Loader(MimeHeader& header, const HeaderCharset& charset, LogBase& log)
      : header_(header), charset_(charset), log_(log) {}

  void run(std::string_view text) {
    LineCutter lines(text);
    std::string_view line;
    while (!stopped_ && lines.next(line)) {
      // The line in front of a message in an mbox file, which may have strayed into the header.
      if (line.substr(0, 5) == "From ") continue;
      if (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
        addContinuation(line, lines.bytesLeft());
        continue;
      }
      finishField();
      if (header_.fields_.getSize() >= header_.maxFields_ && !line.empty()) {
        keepUnparsed(line, lines);
        return;
      }
      pending_ = line;
      isJoined_ = false;
    }
    if (!stopped_) finishField();
  }

 private:
  void addContinuation(std::string_view line, std::size_t bytesLeft) {
    if (!isJoined_) {
      joined_.weakClear();
      joined_.expectNumBytes(pending_.size() + line.size() + bytesLeft);
      joined_.append(pending_);
      isJoined_ = true;
    }
    joined_.append(line);
  }

  /// From here on the lines stay lines. Without the blank ones, at which a reader would see the end
  /// of the header.
  void keepUnparsed(std::string_view line, LineCutter& lines) {
    log_.LogError("Too many header fields -- the rest is kept unparsed.");
    DataBuffer& kept = header_.unparsed_;
    kept.ensureBuffer(line.size() + 2 + lines.bytesLeft());
    do {
      if (line.empty() || line.substr(0, 5) == "From ") continue;
      const bool isReadable =
          charset_.is7bit || charset_.codePage == CharsetNaming::kUtf8 || isAllAscii(line);
      kept.append(isReadable ? line : toUtf8(line));
      kept.append("\r\n");
    } while (lines.next(line));
    kept.shorten(2);
    kept.minimizeMemoryUsage();
  }

  void finishField() {
    std::string_view text = isJoined_ ? joined_.view() : pending_;
    if (!charset_.is7bit && charset_.codePage != CharsetNaming::kUtf8 && !isAllAscii(text)) {
      text = toUtf8(text);
    }
    // Asked before the field is made: not every line is one.
    if (text.find(':') == kNone) return;
    std::unique_ptr<MimeField> field(new (std::nothrow) MimeField);
    if (!field || !field->setMfContentsLine(text, header_.control_, log_)) {
      log_.LogError("Out of memory allocating MimeField.");
      stopped_ = true;
      return;
    }
    store(std::move(field));
  }

  void store(std::unique_ptr<MimeField> field) {
    const bool isContentType = field->nameEquals(kContentType);
    if (isContentType && contentType_) {
      header_.adoptContentType(*contentType_, *field, log_);
      return;
    }
    MimeField* stored = field.get();
    if (!header_.fields_.appendObject(std::move(field))) {
      log_.LogError("Out of memory allocating MimeField.");
      stopped_ = true;
      return;
    }
    if (isContentType) contentType_ = stored;
  }

  std::string_view toUtf8(std::string_view text) {
    constexpr std::string_view kBom = "\xEF\xBB\xBF";
    converted_.setString(text);
    if (containsBytes(text, kBom)) {
      if (log_.verbose()) log_.LogInfo("Detected utf-8 BOM in header field.");
      converted_.replaceAllOccurances(kBom, "");
    } else if (charset_.codePage == 0) {
      convertFromAnsi(converted_, CharsetNaming::kUtf8);
    } else {
      convertEncoding(converted_, charset_.codePage, CharsetNaming::kUtf8, log_);
    }
    return converted_.view();
  }

  MimeHeader& header_;
  const HeaderCharset& charset_;
  LogBase& log_;
  std::string_view pending_;
  StringBuffer joined_;
  StringBuffer converted_;
  bool isJoined_ = false;
  bool stopped_ = false;
  MimeField* contentType_ = nullptr;
};

void MimeHeader::clear() {
  fields_.removeAllObjects();
  unparsed_.clearWithDeallocate();
  detectedCodePage_ = 0;
}

void MimeHeader::loadMimeHeaderText(std::string_view text, std::string_view terminator,
                                    int knownCodePage, StringBuffer* charsetClue, LogBase& log,
                                    std::size_t headerSize) {
  LogContextExitor context(log, "loadMimeHeaderText");
  constexpr int kIso2022Jp2 = 50222;
  clear();
  if (text.data() == nullptr) return;
  StringBuffer mended;
  std::string_view header = headerSize == kUnknownSize ? findHeader(text, terminator, mended, log)
                                                       : text.substr(0, headerSize);
  const HeaderCharset charset =
      decideHeaderCharset({header, text, knownCodePage, charsetClue}, log);
  detectedCodePage_ = charset.codePage;
  DataBuffer utf8;
  if (charset.isRawIso2022Jp) {
    EncodingConvert convert;
    convert.EncConvert(kIso2022Jp2, CharsetNaming::kUtf8, header, utf8, log);
    header = utf8.view();
  }
  Loader(*this, charset, log).run(header);
}

int MimeHeader::findField(std::string_view name, int from) const {
  for (int i = from; i < fields_.getSize(); ++i) {
    const MimeField* field = fields_.elementAt(i);
    if (field && field->nameEquals(name)) return i;
  }
  return -1;
}

const MimeField* MimeHeader::getMimeFieldByName(std::string_view name) const {
  return fields_.elementAt(findField(name));
}

const StringBuffer* MimeHeader::getMimeFieldValue(std::string_view name) const {
  const MimeField* field = getMimeFieldByName(name);
  return field ? &field->value() : nullptr;
}

bool MimeHeader::getMimeFieldUtf8(std::string_view name, StringBuffer& out,
                                  LogBase& /*log*/) const {
  const MimeField* field = getMimeFieldByName(name);
  return field && out.append(field->value());
}

bool MimeHeader::getSubFieldUtf8(std::string_view field, std::string_view attr, StringBuffer& out,
                                 LogBase& log) const {
  LogContextExitor context(log, "getSubFieldUtf8");
  const MimeField* found = getMimeFieldByName(field);
  if (!found || !found->value().containsSubstringNoCase(attr)) return false;
  StringBuffer piece;
  StringBuffer name;
  StringBuffer value;
  for (ParseEngine cursor(found->value().view()); !cursor.atEnd(); cursor.consumeOneChar()) {
    if (!piece.setString(cursor.captureToNextUnquotedChar(';', true))) return false;
    if (!piece.containsChar('=')) continue;
    piece.splitAttrValue(name, value, true);
    if (name.equalsIgnoreCase2(attr)) return out.append(value);
  }
  return false;
}

bool MimeHeader::getFieldNameUtf8(int index, StringBuffer& out) const {
  const MimeField* field = fields_.elementAt(index);
  return field && out.append(field->name());
}

bool MimeHeader::getFieldValueUtf8(int index, StringBuffer& out) const {
  const MimeField* field = fields_.elementAt(index);
  return field && out.append(field->value());
}

bool MimeHeader::replaceMimeFieldUtf8(std::string_view name, std::string_view value, LogBase& log) {
  MimeField* field = fields_.elementAt(findField(name));
  return field ? field->setMfValue(value, control_, log) : addMimeField(name, value, log);
}

bool MimeHeader::addMimeField(std::string_view name, std::string_view value, LogBase& log) {
  return insertMimeField(fields_.getSize(), name, value, log);
}

bool MimeHeader::insertMimeField(int index, std::string_view name, std::string_view value,
                                 LogBase& log) {
  std::unique_ptr<MimeField> field(new (std::nothrow) MimeField);
  if (!field || !field->setMfContents(name, value, control_, log) ||
      !fields_.insertAt(index, std::move(field))) {
    log.LogError("Out of memory allocating MimeField.");
    return false;
  }
  return true;
}

bool MimeHeader::removeMimeField(std::string_view name, bool all) {
  const int first = findField(name);
  if (first < 0) return false;
  if (all) {
    removeFrom(first, name);
  } else {
    fields_.deleteAt(first);
  }
  return true;
}

void MimeHeader::removeFrom(int first, std::string_view name) {
  if (findField(name, first) < 0) return;
  // The tail is taken off and put back: closing the gap at each removal would cost the square of a
  // header with as many fields as a hostile message can hold.
  ExtPtrArray<MimeField> kept;
  while (fields_.getSize() > first) {
    std::unique_ptr<MimeField> field(fields_.removeAt(fields_.getSize() - 1));
    if (field && !field->nameEquals(name)) kept.appendObject(std::move(field));
  }
  while (!kept.isEmpty()) {
    fields_.appendObject(std::unique_ptr<MimeField>(kept.removeAt(kept.getSize() - 1)));
  }
}

void MimeHeader::collapseMultiple(std::string_view name, LogBase& log) {
  LogContextExitor context(log, "collapseMultiple");
  const int first = findField(name);
  MimeField* kept = fields_.elementAt(first);
  if (!kept) return;
  for (int i = findField(name, first + 1); i >= 0; i = findField(name, i + 1)) {
    const MimeField* other = fields_.elementAt(i);
    kept->value_.append2(",", other->value_.view());
    kept->hadEncodedWords_ |= other->hadEncodedWords_;
    kept->allowEncoding_ &= other->allowEncoding_;
  }
  removeFrom(first + 1, name);
}

const MimeField* MimeHeader::getFirstAndRemoveDuplicates(std::string_view name) {
  const int first = findField(name);
  if (first < 0) return nullptr;
  removeFrom(first + 1, name);
  return fields_.elementAt(first);
}

void MimeHeader::adoptContentType(MimeField& kept, MimeField& replacement, LogBase& log) {
  kept.value_.takeSb(replacement.value_);
  kept.hadEncodedWords_ = replacement.hadEncodedWords_;
  kept.allowEncoding_ = replacement.allowEncoding_;
  if (linkedCharset_ && linkedContentType_) {
    linkedContentType_->loadFromMimeHeaderValue(kept.value_.view(), *linkedCharset_, log);
  }
}

bool MimeHeader::appendMf_noDupContentType(MimeField* field, LogBase& log) {
  std::unique_ptr<MimeField> owned(field);
  if (!owned || !owned->isValidObject()) return false;
  MimeField* first =
      owned->nameEquals(kContentType) ? fields_.elementAt(findField(kContentType)) : nullptr;
  if (!first) return fields_.appendObject(std::move(owned));
  adoptContentType(*first, *owned, log);
  return true;
}

bool MimeHeader::replaceFieldAt(int index, std::unique_ptr<MimeField> field) {
  return fields_.replaceAt(index, std::move(field));
}

void MimeHeader::getMimeHeader(StringBuffer& out, std::string_view only, int codePage,
                               bool contentOnly, LogBase& log) const {
  bool isFirst = true;
  for (int i = 0; i < fields_.getSize(); ++i) {
    const MimeField* field = fields_.elementAt(i);
    if (!field) continue;
    if (!only.empty() && !field->nameEquals(only)) continue;
    if (contentOnly && !field->name().beginsWithIgnoreCase("content-")) continue;
    if (!isFirst) out.append("\r\n");
    isFirst = false;
    field->emitMfEncoded(out, codePage, control_, log);
  }
  if (unparsed_.isEmpty() || !only.empty() || contentOnly) return;
  out.expectNumBytes(unparsed_.getSize() + 2);
  if (!isFirst) out.append("\r\n");
  out.append(unparsed_);
}

}  // namespace keldane::mime

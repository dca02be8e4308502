#include "mime/email/email_header.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/encoded_word.h"
#include "mime/headers/mime_header.h"
#include "mime/tree/mime_message.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The header of a mail object is that of the parsed entity, written as text and read back. The way
// round settles what the first reading left open, a decoded value that holds another encoded word
// for instance. Most fields come back as they went and need not go.
namespace keldane::mime {

namespace {

bool isPlainByte(char c) { return static_cast<unsigned char>(c) - 0x20U < 0x5FU || c == '\t'; }

#if defined(__SSE2__)
bool isPlainBlock(const char* bytes) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i isTab = _mm_cmpeq_epi8(block, _mm_set1_epi8('\t'));
  const __m128i isDel = _mm_cmpeq_epi8(block, _mm_set1_epi8(0x7F));
  // As signed bytes, those of 0x80 and above are below a blank too.
  const __m128i isLow = _mm_cmplt_epi8(block, _mm_set1_epi8(' '));
  return _mm_movemask_epi8(_mm_or_si128(_mm_andnot_si128(isTab, isLow), isDel)) == 0;
}
#endif

/// Plain ASCII, with no byte that a reader of headers takes for anything but text.
bool isPlainText(std::string_view text) {
#if defined(__SSE2__)
  constexpr std::size_t kBlock = 16;
  if (text.size() >= kBlock) {
    for (std::size_t i = 0; i + kBlock < text.size(); i += kBlock) {
      if (!isPlainBlock(text.data() + i)) return false;
    }
    return isPlainBlock(text.data() + text.size() - kBlock);
  }
#endif
  return std::all_of(text.begin(), text.end(), isPlainByte);
}

/// Writing the field and reading it back gives the same field.
bool isUnchangedByRoundTrip(const MimeField& field) {
  if (!isPlainText(field.name().view()) || !isPlainText(field.value().view())) return false;
  if (field.kind() != MimeField::kAddresses) {
    return !field.hadEncodedWords() && !hasEncodedWordMark(field.value().view());
  }
  return !field.hadEncodedWords() || !containsBytes(field.value().view(), "name*0=");
}

/// The text of one field without its folds. False when it is not the text of one field in plain
/// ASCII: then its bytes have a say in how the whole header is read.
bool unfold(StringBuffer& text) {
  const std::string_view folded = text.view();
  if (!isAllAscii(folded) || folded.find('\0') != std::string_view::npos ||
      folded.find('\x1B') != std::string_view::npos) {
    return false;
  }
  StringBuffer line;
  std::size_t done = 0;
  for (std::size_t at = folded.find('\r'); at != std::string_view::npos;
       at = folded.find('\r', done)) {
    const std::string_view fold = folded.substr(at, 3);
    if (fold != "\r\n " && fold != "\r\n\t") return false;
    line.append(folded.substr(done, at - done));
    done = at + 2;
  }
  if (done == 0) return folded.find('\n') == std::string_view::npos;
  line.append(folded.substr(done));
  if (line.containsChar('\n')) return false;
  return text.takeSb(line);
}

std::unique_ptr<MimeField> roundTrip(const MimeField& field, int codePage,
                                     const MimeControl& control, LogBase& log) {
  StringBuffer text;
  field.emitMfEncoded(text, codePage, control, log);
  std::unique_ptr<MimeField> back;
  if (!unfold(text)) return back;
  back.reset(new (std::nothrow) MimeField);
  if (back && !back->setMfContentsSb(text, control, log)) back.reset();
  return back;
}

/// Moves the fields over, those that the way round changes as it leaves them. False, and nothing
/// moved, when the header has to be read as a whole.
bool takeFieldByField(MimeHeader& from, int codePage, MimeHeader& to, LogBase& log) {
  std::vector<std::pair<int, std::unique_ptr<MimeField>>> changed;
  bool hasContentType = false;
  for (int i = 0; i < from.getNumFields(); ++i) {
    const MimeField* field = from.fieldAt(i);
    if (!field) return false;
    if (field->nameEquals("content-type")) {
      if (hasContentType) return false;
      hasContentType = true;
    }
    if (isUnchangedByRoundTrip(*field)) continue;
    changed.emplace_back(i, roundTrip(*field, codePage, from.control(), log));
    if (!changed.back().second) return false;
  }
  to.takeFieldsOf(from);
  for (auto& [index, field] : changed) {
    if (!to.replaceFieldAt(index, std::move(field))) return false;
  }
  return true;
}

}  // namespace

void loadHeaderByText(const MimeMessage2& mime, MimeHeader& header, LogBase& log) {
  constexpr int kUtf8 = 65001;
  StringBuffer text;
  mime.getQBEncodedHeader(text, log);
  header.loadMimeHeaderText(text.view(), MimeHeader::kTerminator, kUtf8, nullptr, log,
                            text.getSize());
}

void takeHeaderByField(MimeMessage2& mime, MimeHeader& header, LogBase& log) {
  const int codePage = mime.getCharset().getCodePage();
  // What was left a text need not go the way round.
  MimeHeader rest;
  rest.takeUnparsed(mime.header_rw());
  if (!takeFieldByField(mime.header_rw(), codePage, header, log)) {
    header.clear();
    loadHeaderByText(mime, header, log);
  }
  header.takeUnparsed(rest);
}

}  // namespace keldane::mime

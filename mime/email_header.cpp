// The header of a mail object: that of the parsed entity, written as text and read back. The way
// round settles what the first reading left open, a decoded value that holds another encoded word
// for instance. Most fields come back as they went and need not go.
#include <algorithm>
#include <memory>
#include <new>

#include "mime/byte_search.h"
#include "mime/email_parts.h"
#include "mime/encoded_word.h"
#include "mime/log_base.h"
#include "mime/mime_header.h"
#include "mime/mime_message.h"

namespace keldane::mime {

namespace {

/// Plain ASCII, with no byte that a reader of headers takes for anything but text.
bool isPlainText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte - 0x20U < 0x5FU || c == '\t';
  });
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

/// Adds the fields one by one. False when the header has to be read as a whole.
bool takeFieldByField(const MimeHeader& from, int codePage, MimeHeader& to, LogBase& log) {
  for (int i = 0; i < from.getNumFields(); ++i) {
    const MimeField* field = from.fieldAt(i);
    if (!field) continue;
    std::unique_ptr<MimeField> copy;
    if (isUnchangedByRoundTrip(*field)) {
      copy.reset(new (std::nothrow) MimeField(*field));
    } else {
      copy = roundTrip(*field, codePage, from.control(), log);
    }
    if (!copy || !to.appendMf_noDupContentType(copy.release(), log)) return false;
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

void loadHeaderByField(const MimeMessage2& mime, MimeHeader& header, LogBase& log) {
  const int codePage = mime.getCharset().getCodePage();
  if (takeFieldByField(mime.getHeader(), codePage, header, log)) return;
  header.clear();
  loadHeaderByText(mime, header, log);
}

}  // namespace keldane::mime

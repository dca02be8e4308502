#pragma once

#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/tn_charset.h"
#include "mime/headers/content_type.h"
#include "mime/headers/mime_header.h"
#include "mime/limits.h"

namespace keldane::mime {

/// What all entities of one load share.
struct LoadJob {
  bool fixLineEnds;
  bool isUtf8;
  StringBuffer& charsetClue;
  LogBase& log;
  int partsLeft = limits::kMaxParts;
  int fieldsLeft = limits::kMaxFields;
  /// The bytes at hand lie in a part that is kept as it was signed.
  bool isInsideSigned = false;
  /// The message holds no CR CR and no LF LF.
  bool noPairs = false;
  /// Something of the message could not be kept.
  bool outOfMemory = false;
  /// The text is the bytes of a file that is not UTF-8.
  bool isFileBytes = false;
  /// Of such a file: the whole message, and the charset of the first part that names one, looked
  /// for when the first header without a label of its own needs it.
  std::string_view wholeText{};
  int firstDeclared = kNotLookedFor;

  static constexpr int kNotLookedFor = -1;
};

/// The body of an entity without subparts: what it is, how it was encoded, and its way to UTF-8.
/// Made for one body. It changes the entity's body and charset; what the entity must change in its
/// header it tells afterwards.
class BodyDecoder {
 public:
  struct Entity {
    const MimeHeader& header;
    const _tnContentType& contentType;
    const StringBuffer& encoding;
    bool isAttachment;
    _tnCharset& charset;
    DataBuffer& body;
  };

  BodyDecoder(const Entity& entity, LoadJob& job) : entity_(entity), job_(job) {}

  void parseSinglePart(std::string_view body);
  /// A multipart whose parts were not found keeps all its text, still in its transfer encoding.
  void keepUnparsed(std::string_view body);
  void setMimeBodyByEncoding(std::string_view data, int codePage, bool isText);

  /// The transfer encoding that the entity has from now on; empty: the one it had.
  [[nodiscard]] std::string_view newEncoding() const { return newEncoding_; }
  /// The text is HTML, whatever the header says.
  [[nodiscard]] bool isReallyHtml() const { return isReallyHtml_; }

 private:
  void clearCharsetOfBinary(std::string_view contentTypeValue);
  [[nodiscard]] bool isTextBody(std::string_view contentTypeValue, std::string_view body) const;
  [[nodiscard]] int adoptMetaCharset(std::string_view body, bool isText);
  void setMimeBodyBase64(std::string_view data, int codePage, bool isText);
  void setMimeBodyQP(std::string_view data, int codePage, bool isText);
  void setMimeBodyUu(std::string_view data, int codePage, bool isText);
  void setMimeBody8Bit_2(std::string_view data, int codePage, bool isText);
  void setRawBody(std::string_view data, int codePage, bool isText);
  void convertBodyToUtf8(int codePage);

  Entity entity_;
  LoadJob& job_;
  // The text of an ISO Latin-1 body turned out to be Windows text.
  bool wasReally1252_ = false;
  // The body stands decoded in the entity already.
  bool isDecoded_ = false;
  bool isReallyHtml_ = false;
  std::string_view newEncoding_;
};

}  // namespace keldane::mime

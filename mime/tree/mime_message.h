#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"
#include "mime/charsets/tn_charset.h"
#include "mime/headers/content_type.h"
#include "mime/headers/mime_header.h"

namespace keldane::mime {

class LogBase;
struct LoadJob;

/// An object with a number of its own, never 0 and never given twice in one process.
class TarnellObjectWithId : public TarnellObject {
 public:
  TarnellObjectWithId();
  [[nodiscard]] std::uint64_t objectId() const { return objectId_; }

 private:
  std::uint64_t objectId_;
};

/// One MIME entity: header, decoded body, subparts. Loading never rejects broken mail but for one
/// limit on the header's size; it gives the tree that the text comes nearest to. Beyond the numbers
/// of `limits` it leaves text as it is.
///
/// Not kept: the preamble and epilogue of a multipart, and the raw text of any entity, but for the
/// signed bytes of a multipart/signed. Text bodies are UTF-8 whenever their charset was known or
/// could be guessed; `getCharset` still names the declared one, for writing the text back.
///
/// One thread at a time. Nothing throws.
class MimeMessage2 : public TarnellObjectWithId {
 public:
  /// A text of this size with no end of the header is no mail.
  static constexpr std::size_t kHeaderTooLarge = 20000001;
  /// A part of fewer bytes is passed over.
  static constexpr std::size_t kMinPartSize = 5;

  MimeMessage2() = default;
  MimeMessage2(const MimeMessage2&) = delete;
  MimeMessage2& operator=(const MimeMessage2&) = delete;
  ~MimeMessage2() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kMimeMessage2; }
  /// Back to an empty entity without subparts.
  void clear();

  // Loading. `isUtf8`: the text has come as UTF-8, so headers are known to be and bodies without a
  // transfer encoding are not converted, but for charsets of seven bits. False, and the entity
  // empty: null data, no memory, or the limit on the header.
  bool loadMimeComplete(const StringBuffer& text, LogBase& log, bool isUtf8);
  bool loadMimeComplete(std::string_view text, LogBase& log, bool isUtf8);
  /// The bytes of a file that is not UTF-8: each text is read in the charset that its part
  /// declares, raw 8-bit headers in that of the first part that names one, and what no charset
  /// explains as ISO Latin 1.
  bool loadFileBytes(std::string_view bytes, LogBase& log);
  /// Without the repair of line ends.
  bool loadMimeCompleteDb(const DataBuffer& bytes, LogBase& log);
  /// `charsetClue`: a charset met earlier in the message, for headers of unknown charset; filled in
  /// by the first body that declares one. `data` is not needed afterwards.
  bool loadMimeComplete2(const char* data, std::size_t n, bool fixLineEnds,
                         StringBuffer& charsetClue, LogBase& log, bool isUtf8);
  /// False before the first load and after `clear`.
  [[nodiscard]] bool isBodyLoaded() const { return bodyLoaded_; }
  /// Something in this entity or below it was kept as text because it lay beyond a limit.
  [[nodiscard]] bool isBeyondLimits() const;

  /// Appends the header alone, with its non-ASCII text as encoded words of the entity's charset and
  /// without the blank line behind it.
  bool getQBEncodedHeader(StringBuffer& out, LogBase& log) const;

  // The tree.
  [[nodiscard]] int getNumParts() const { return subparts_.getSize(); }
  /// Null when out of range. Stays owned here.
  [[nodiscard]] MimeMessage2* getPart(int index) const { return subparts_.elementAt(index); }
  bool appendPart(std::unique_ptr<MimeMessage2> part);
  bool insertPart(int index, std::unique_ptr<MimeMessage2> part);
  /// Takes a part out of the tree; null when out of range.
  [[nodiscard]] std::unique_ptr<MimeMessage2> removePart(int index);
  void removeSubparts();

  // The entity.
  [[nodiscard]] const _tnContentType& getContentType() const { return contentType_; }
  [[nodiscard]] _tnContentType& contentType_rw() { return contentType_; }
  [[nodiscard]] const _tnCharset& getCharset() const { return m_charset; }
  [[nodiscard]] _tnCharset& charset_rw() { return m_charset; }
  [[nodiscard]] const StringBuffer& getDisposition() const { return disposition_; }
  [[nodiscard]] const StringBuffer& getContentEncoding() const { return encoding_; }
  /// With its angle brackets.
  [[nodiscard]] const StringBuffer& getContentId() const { return contentId_; }
  /// From the disposition; the name of the content type is a different one.
  [[nodiscard]] const StringBuffer& getMimeFilename() const { return filename_; }
  [[nodiscard]] const DataBuffer& getMimeBodyDb() const { return m_body; }
  [[nodiscard]] DataBuffer& bodyDb_rw() { return m_body; }
  /// Appends the body to `out`.
  bool copyMimeBody(DataBuffer& out) const { return out.append(m_body); }
  /// Moves the body into `out`; the entity's own is empty afterwards.
  bool extractMimeBody(DataBuffer& out) { return out.takeData(m_body); }
  /// The first part's bytes as they were signed; empty unless this is a multipart/signed.
  [[nodiscard]] const DataBuffer& getSignedData() const { return signedData_; }

  [[nodiscard]] bool isMultipart() const;
  [[nodiscard]] bool isMultipartMixed() const;
  [[nodiscard]] bool isMultipartSigned(LogBase& log) const;
  [[nodiscard]] bool isAttachment(LogBase& log) const;

  // The header.
  [[nodiscard]] const MimeHeader& getHeader() const { return header_; }
  [[nodiscard]] MimeHeader& header_rw() { return header_; }
  [[nodiscard]] int getHeaderDetectedCP() const { return header_.getDetectedCP(); }
  /// Appends the first field of that name with its encoded words decoded; false when missing.
  bool getHeaderFieldUtf8(std::string_view name, StringBuffer& out, LogBase& log) const;
  /// Appends the values of all fields of that name, one text each, as they are stored.
  bool getEmailAddresses(std::string_view name, ExtPtrArraySb& list, LogBase& log) const;

  // Changes. Each keeps the header field in step; an empty text takes the field away.
  void setContentType(std::string_view type, LogBase& log);
  void setBoundary(std::string_view boundary, LogBase& log);
  void setContentEncoding(std::string_view encoding, LogBase& log);
  /// The disposition alone; the filename is dropped.
  void setDisposition(std::string_view disposition, LogBase& log);
  void setDispositionAndFilename(std::string_view disposition, std::string_view filename,
                                 LogBase& log);
  void setCharset(const _tnCharset& charset, LogBase& log);
  /// Writes the content type as it now stands into the header.
  void refreshContentTypeHeader(LogBase& log);
  /// When on, a line of explanation for old readers goes in front of the first part.
  void setPreambleWanted(bool on) { preambleWanted_ = on; }
  [[nodiscard]] bool isPreambleWanted() const { return preambleWanted_; }

  /// Gives base64 to each binary entity of the tree that would put raw bytes into a text, and
  /// remembers it; `restoreBinarySafeForString` takes it back.
  void makeBinarySafeForString(LogBase& log);
  void restoreBinarySafeForString(LogBase& log);

 private:
  struct Delimiter;

  bool loadWhole(const char* data, std::size_t n, LoadJob& job);
  bool loadEntity(std::string_view text, LoadJob& job, int depth);
  void loadWithHeader(std::string_view text, std::size_t headerSize, std::string_view terminator,
                      LoadJob& job, int depth);
  bool loadWithoutHeaderEnd(std::string_view text, std::size_t originalSize, LoadJob& job);
  void loadHeader(std::string_view text, std::string_view terminator, std::size_t headerSize,
                  LoadJob& job);
  void loadHeaderOfFile(std::string_view header, LoadJob& job);
  void cacheAll(LogBase& log);
  void cacheDisposition(LogBase& log);
  void parseMimeBody(std::string_view body, LoadJob& job, int depth);
  void parseMultipart(std::string_view body, LoadJob& job, int depth);
  bool findDelimiter(std::string_view body, Delimiter& delimiter, LogBase& log);
  void walkParts(std::string_view body, const Delimiter& delimiter, LoadJob& job, int depth);
  bool loadPart(std::string_view part, LoadJob& job, int depth);
  void keepRestAsPart(std::string_view rest, LoadJob& job);
  void renameBoundaryTo7bit(LogBase& log);

  template <typename Step>
  void decodeBody(LoadJob& job, const Step& step);

  std::uint32_t stamp_ = Stamps::kMimeMessage2;
  _tnCharset m_charset;
  _tnContentType contentType_;
  DataBuffer signedData_;
  bool bodyLoaded_ = false;
  bool beyondLimits_ = false;
  DataBuffer m_body;
  MimeHeader header_;
  bool preambleWanted_ = false;
  ExtPtrArray<MimeMessage2> subparts_;
  std::uint8_t binarySafeMarker_ = 0;
  StringBuffer disposition_;
  StringBuffer encoding_;
  StringBuffer filename_;
  StringBuffer contentId_;
};

}  // namespace keldane::mime

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"
#include "mime/headers/mime_field.h"
#include "mime/limits.h"

namespace keldane::mime {

class LogBase;
class _tnCharset;
class _tnContentType;

/// The header block of one entity: its fields in file order. Loading guesses the charset of a
/// header that does not declare one, in a fixed order, and brings every value to UTF-8.
///
/// Beyond a number of fields the rest of the header is kept as text: it is written again, but not
/// found by name.
///
/// Nothing fails loudly: what is not a field is dropped, a wrong guess gives wrong letters. Loading
/// takes time in proportion to the text, whatever it holds. Field lookup walks the list and ignores
/// the case of names. One thread at a time.
class MimeHeader {
 public:
  static constexpr std::string_view kTerminator = "\r\n\r\n";
  static constexpr std::size_t kUnknownSize = std::string_view::npos;

  MimeHeader() = default;
  MimeHeader(const MimeHeader&) = delete;
  MimeHeader& operator=(const MimeHeader&) = delete;

  /// Replaces the fields by those of the header at the beginning of `text`; null text: no fields.
  ///
  /// The header ends at `terminator` (or what comes close to it), or after `headerSize` bytes when
  /// the caller has found the end. The body may follow: an undeclared charset is looked for in the
  /// whole text. `knownCodePage` 0: not known. `charsetClue`, may be null: the name of the charset
  /// of an earlier part; left normalised.
  void loadMimeHeaderText(std::string_view text, std::string_view terminator, int knownCodePage,
                          StringBuffer* charsetClue, LogBase& log,
                          std::size_t headerSize = kUnknownSize);
  void loadMimeHeaderText(const char* text, std::size_t n, const char* terminator,
                          int knownCodePage, StringBuffer* charsetClue, LogBase& log) {
    loadMimeHeaderText(std::string_view(text, n),
                       terminator ? std::string_view(terminator) : kTerminator, knownCodePage,
                       charsetClue, log);
  }
  void clear();
  /// Fields that a load may make.
  void setMaxFields(int count) { maxFields_ = count; }
  /// The lines beyond the limit, in UTF-8, each with its CR LF; empty for all real mail.
  [[nodiscard]] const DataBuffer& unparsed() const { return unparsed_; }
  /// Moves them here from a header that is used up.
  void takeUnparsed(MimeHeader& other) { unparsed_.takeData(other.unparsed_); }

  /// The charset decision of the last load; 0 when there was nothing to decide.
  [[nodiscard]] int getDetectedCP() const { return detectedCodePage_; }
  [[nodiscard]] const MimeControl& control() const { return control_; }
  /// While set, a replaced Content-Type is parsed into them again. Not owned; null unlinks.
  void setLinks(_tnCharset* charset, _tnContentType* contentType) {
    linkedCharset_ = charset;
    linkedContentType_ = contentType;
  }

  // Reading. The getters append to `out` and answer false when there is no such field.
  bool getMimeFieldUtf8(std::string_view name, StringBuffer& out, LogBase& log) const;
  bool getMimeFieldUtf8_2(const char* name, std::size_t nameLength, StringBuffer& out,
                          LogBase& log) const {
    return getMimeFieldUtf8({name, nameLength}, out, log);
  }
  /// One attribute of a field as it stands in the value, quotes removed. An attribute written as
  /// `name*` is found under that exact name only.
  bool getSubFieldUtf8(std::string_view field, std::string_view attr, StringBuffer& out,
                       LogBase& log) const;
  /// The first field of the name, or null; valid until the header changes.
  [[nodiscard]] const MimeField* getMimeFieldByName(std::string_view name) const;
  /// Its value without a copy; null when missing. Valid until the header changes.
  [[nodiscard]] const StringBuffer* getMimeFieldValue(std::string_view name) const;
  [[nodiscard]] bool hasField(std::string_view name) const { return findField(name) >= 0; }
  [[nodiscard]] int getNumFields() const { return fields_.getSize(); }
  /// Null when out of range.
  [[nodiscard]] const MimeField* fieldAt(int index) const { return fields_.elementAt(index); }
  bool getFieldNameUtf8(int index, StringBuffer& out) const;
  bool getFieldValueUtf8(int index, StringBuffer& out) const;

  // Changing. False only when memory runs out.
  /// Replaces the value of the first field of the name, or adds a field at the end.
  bool replaceMimeFieldUtf8(std::string_view name, std::string_view value, LogBase& log);
  bool addMimeField(std::string_view name, std::string_view value, LogBase& log);
  bool insertMimeField(int index, std::string_view name, std::string_view value, LogBase& log);
  /// True when something was removed.
  bool removeMimeField(std::string_view name, bool all);
  /// Several fields of the name become the first of them, their values joined by ",".
  void collapseMultiple(std::string_view name, LogBase& log);
  /// The first field of the name, all others of it removed; null when missing.
  const MimeField* getFirstAndRemoveDuplicates(std::string_view name);
  /// Takes ownership. A second Content-Type gives its value to the first and is deleted.
  bool appendMf_noDupContentType(MimeField* field, LogBase& log);
  /// Moves all fields here in place of one's own; `other` gets those.
  void takeFieldsOf(MimeHeader& other) { fields_.swap(other.fields_); }
  /// False, and nothing changed, when the index is out of range.
  bool replaceFieldAt(int index, std::unique_ptr<MimeField> field);

  /// Appends the fields as text, folded, CR LF between them and none at the end. `only` names the
  /// single field wanted, empty for all; `contentOnly` keeps the fields that begin "content-".
  void getMimeHeader(StringBuffer& out, std::string_view only, int codePage, bool contentOnly,
                     LogBase& log) const;

 private:
  class Loader;

  [[nodiscard]] int findField(std::string_view name, int from = 0) const;
  void removeFrom(int first, std::string_view name);
  void adoptContentType(MimeField& kept, MimeField& replacement, LogBase& log);

  ExtPtrArray<MimeField> fields_;
  DataBuffer unparsed_;
  int maxFields_ = limits::kMaxFields;
  MimeControl control_;
  int detectedCodePage_ = 0;
  _tnCharset* linkedCharset_ = nullptr;
  _tnContentType* linkedContentType_ = nullptr;
};

}  // namespace keldane::mime

#pragma once

#include <cstdint>
#include <string_view>

#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class LogBase;

/// Switches of header loading, both off in everything that the archiver reaches.
struct MimeControl {
  /// Values stay as they came: no decoding, no kinds.
  bool rawMode = false;
  /// Blanks inside a value collapse to one.
  bool extraTrim = false;
};

/// One header field: its name, and its value as unfolded UTF-8 text with the encoded words decoded,
/// except in address fields, whose words stay for the address parser. Short names and values live
/// inside the object. One thread at a time.
class MimeField : public TarnellObject {
 public:
  enum Kind : std::uint8_t { kPlain = 1, kAttributes = 2, kAddresses = 3 };

  MimeField() = default;
  MimeField(const MimeField&) = default;
  MimeField& operator=(const MimeField&) = default;
  ~MimeField() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kMimeField; }

  /// Takes an unfolded line apart at its first colon and post-processes the value. False, and
  /// nothing changed, when there is no colon.
  bool setMfContentsSb(const StringBuffer& line, const MimeControl& control, LogBase& log) {
    return setMfContentsLine(line.view(), control, log);
  }
  bool setMfContentsLine(std::string_view line, const MimeControl& control, LogBase& log);
  /// Replaces name and value and post-processes them. False only when memory runs out.
  bool setMfContents(std::string_view name, std::string_view value, const MimeControl& control,
                     LogBase& log);
  /// Replaces the value alone, by the same rules.
  bool setMfValue(std::string_view value, const MimeControl& control, LogBase& log);
  /// Brings name and value to their stored form: encoded words, line ends, kind, outer blanks.
  void setMfPostProcess(const MimeControl& control, LogBase& log);

  /// Appends "name: value", folded, without a line end. A value with 8-bit bytes is written with
  /// encoded words in the charset of `codePage`; UTF-8 when that page is unknown or cannot hold it.
  void emitMfEncoded(StringBuffer& out, int codePage, const MimeControl& control,
                     LogBase& log) const;

  [[nodiscard]] bool nameEquals(std::string_view name) const {
    return name_.equalsIgnoreCase2(name);
  }
  [[nodiscard]] const StringBuffer& name() const { return name_; }
  [[nodiscard]] const StringBuffer& value() const { return value_; }
  [[nodiscard]] Kind kind() const { return kind_; }
  /// Regeneration may encode the value.
  [[nodiscard]] bool allowsEncoding() const { return allowEncoding_; }
  /// The value held Q or B words when it was loaded.
  [[nodiscard]] bool hadEncodedWords() const { return hadEncodedWords_; }

  /// The fields that hold addresses, in any case.
  [[nodiscard]] static bool isAddressField(std::string_view name);

 private:
  friend class MimeHeader;

  void combineStarQB(std::string_view attr);
  void decideKind(bool isAddress);
  bool appendEncodedValue(StringBuffer& out, int codePage, LogBase& log) const;

  std::uint32_t stamp_ = Stamps::kMimeField;
  bool allowEncoding_ = true;
  bool hadEncodedWords_ = false;
  Kind kind_ = kPlain;
  StringBuffer name_;
  StringBuffer value_;
};

/// Appends a "name: value" line to `out`, folded at blanks (CR LF SPACE). Lines below 79 characters
/// stay whole; what stands in double quotes is not cut.
void appendWithFolding(std::string_view line, MimeField::Kind kind, StringBuffer& out);

}  // namespace keldane::mime

#pragma once

#include <cstddef>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/tn_charset.h"

namespace keldane::mime {

class LogBase;

/// A text with each quoted string taken out and replaced by the token "<[[N]]>", so that it can be
/// cut at its separators, and the strings by number.
class ParamString {
 public:
  /// With `takeOutQuoted` false the text stays as it is. In a quoted string a backslash takes a
  /// following quote; the string ends at a quote, CR or LF. Strings beyond
  /// `limits::kMaxQuotedStrings` stay in the text.
  bool setString(std::string_view text, bool takeOutQuoted);
  [[nodiscard]] StringBuffer& text() { return text_; }
  [[nodiscard]] std::string_view view() const { return text_.view(); }
  /// The quoted string that `piece` stands for when it begins with a token, else `piece` itself.
  /// Valid until the next `setString`.
  [[nodiscard]] std::string_view resolve(std::string_view piece) const;
  [[nodiscard]] bool isBeyondLimits() const { return beyondLimits_; }

 private:
  StringBuffer text_;
  ExtPtrArraySb quoted_;
  bool beyondLimits_ = false;
};

/// Appends a parameter's value in quotes, so that `ParamString` reads it back. What it could not
/// read goes: line ends, and backslashes in front of a quote.
void appendQuotedParam(std::string_view value, StringBuffer& out);

/// The parameters that have no member of their own, in the order of the text. One block holds them
/// all, so that the shortest takes little more than its text.
class _tnParamSet {
 public:
  struct Param {
    std::string_view name;
    std::string_view value;
  };

  bool addParam(std::string_view name, std::string_view value);
  /// Calls `visit` with each, which is valid until the next change.
  template <typename Visit>
  void forEach(const Visit& visit) const {
    for (std::size_t at = 0; at < bytes_.getSize();) visit(next(at));
  }
  void clear() { bytes_.clear(); }
  bool copyFrom(const _tnParamSet& other);
  bool takeFrom(_tnParamSet& other) { return bytes_.takeData(other.bytes_); }
  void minimizeMemoryUsage() { bytes_.minimizeMemoryUsage(); }

 private:
  /// The parameter at this place of the block; `at` then is that of the next one.
  [[nodiscard]] Param next(std::size_t& at) const;
  [[nodiscard]] std::size_t nextSize(std::size_t& at) const;

  // For each: the sizes of both texts, then the texts. A size is one byte, or 0xFF and four: the
  // shortest parameters take no more here than in the field.
  DataBuffer bytes_;
};

/// A Content-Type taken apart, up to `limits::kMaxParameters`. The charset is not kept here: it
/// goes to the entity's `_tnCharset`. One thread at a time.
class _tnContentType {
 public:
  /// Replaces all members. `charset` changes only when the value has a charset parameter; an
  /// unknown name clears it.
  void loadFromMimeHeaderValue(std::string_view value, _tnCharset& charset, LogBase& log);
  /// Appends the value with its parameters; texts that need it are quoted. A charset without a name
  /// is left out.
  void buildMimeHeaderValue(StringBuffer& out, const _tnCharset& charset, LogBase& log) const;
  bool copyFrom(const _tnContentType& other);
  /// The same from one that is used up; it loses its `params`.
  bool takeFrom(_tnContentType& other);
  void clear();

  /// Lower case, no blanks: "text/plain".
  [[nodiscard]] const StringBuffer& contentType() const { return type_; }
  void setContentType(std::string_view type);
  [[nodiscard]] bool isMultipart() const { return type_.beginsWith("multipart"); }
  [[nodiscard]] const StringBuffer& name() const { return name_; }
  void setName(std::string_view name) { name_.setString(name); }
  [[nodiscard]] const StringBuffer& protocol() const { return protocol_; }
  [[nodiscard]] const StringBuffer& micalg() const { return micalg_; }
  /// Case kept.
  [[nodiscard]] const StringBuffer& boundary() const { return boundary_; }
  void setBoundary(std::string_view boundary) { boundary_.setString(boundary); }
  [[nodiscard]] const StringBuffer& smimeType() const { return smimeType_; }
  /// The parameter `type`, lower case.
  [[nodiscard]] const StringBuffer& typeParam() const { return typeParam_; }
  /// Always empty after a load: the parameter is filed under its own name in `params`.
  [[nodiscard]] const StringBuffer& reportType() const { return reportType_; }
  [[nodiscard]] bool formatFlowed() const { return formatFlowed_; }
  /// The value holds more than was taken apart.
  [[nodiscard]] bool isBeyondLimits() const { return beyondLimits_; }
  [[nodiscard]] const _tnParamSet& params() const { return params_; }

 private:
  bool copyMembers(const _tnContentType& other);
  void takeParam(std::string_view attr, std::string_view value, _tnCharset& charset,
                 StringBuffer& starText);

  StringBuffer type_;
  StringBuffer name_;
  StringBuffer protocol_;
  StringBuffer micalg_;
  StringBuffer boundary_;
  StringBuffer smimeType_;
  StringBuffer typeParam_;
  StringBuffer reportType_;
  bool formatFlowed_ = false;
  bool beyondLimits_ = false;
  _tnParamSet params_;
};

}  // namespace keldane::mime

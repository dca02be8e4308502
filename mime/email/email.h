#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"
#include "mime/buffers/tarnell_sys_time.h"
#include "mime/charsets/tn_charset.h"
#include "mime/headers/content_type.h"
#include "mime/headers/email_address.h"
#include "mime/headers/mime_header.h"

namespace keldane::mime {

class LogBase;
class MimeMessage2;

/// What all parts of one mail share; it lives as long as the last of them.
class _tnEmailCommon {
 public:
  /// The mail's default charset: that of the first part that declares one and is no attachment.
  _tnCharset charset;
};

/// One entity of a mail as a reader sees it, with its parts below it. Bodies of texts are UTF-8.
/// Made from a `MimeMessage2` tree by email_load; which text is the mail's text, what its
/// attachments are and how it is written anew stand in email_bodies, email_attachments and
/// email_emit.
///
/// Not for editing mail: the only changes are the repairs at load and those that writing the
/// message anew needs. Every walk goes as deep as the tree, which the parser keeps below 250
/// levels. One thread at a time.
class Email2 : public TarnellObject {
 public:
  using Common = std::shared_ptr<_tnEmailCommon>;
  using Part = std::unique_ptr<Email2>;
  /// Parts of the tree they were asked of; valid as long as that tree.
  using PartList = std::vector<Email2*>;

  explicit Email2(Common common);
  Email2(const Email2&) = delete;
  Email2& operator=(const Email2&) = delete;
  ~Email2() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kEmail2; }

  // The entity.
  [[nodiscard]] _tnEmailCommon& common() const { return *common_; }
  [[nodiscard]] int getNumParts() const { return subparts_.getSize(); }
  /// Null when out of range.
  [[nodiscard]] Email2* getPart(int index) const { return subparts_.elementAt(index); }
  [[nodiscard]] const MimeHeader& header() const { return header_; }
  [[nodiscard]] const DataBuffer& body() const { return m_body; }
  /// Lower case, empty without a Content-Type.
  [[nodiscard]] std::string_view contentType() const { return contentType_.contentType().view(); }
  [[nodiscard]] std::string_view boundary() const { return contentType_.boundary().view(); }
  [[nodiscard]] const _tnCharset& charset() const { return charset_; }
  [[nodiscard]] std::string_view disposition() const { return disposition_.view(); }
  [[nodiscard]] std::string_view encoding() const { return encoding_.view(); }
  /// Of the disposition; `attributeName` is the name of the content type.
  [[nodiscard]] std::string_view filename() const { return filename_.view(); }
  [[nodiscard]] std::string_view attributeName() const { return contentType_.name().view(); }

  // Kinds of entity.
  [[nodiscard]] bool isType(std::string_view type) const { return contentType() == type; }
  /// The type, where a leaf without one is plain text.
  [[nodiscard]] std::string_view comparedType() const;
  [[nodiscard]] bool isTextOrTypeless() const;
  [[nodiscard]] bool isMultipart() const;
  [[nodiscard]] bool isAttachmentDisposition() const;
  /// In ASCII, in any case.
  [[nodiscard]] bool hasEncoding(std::string_view encoding) const;
  [[nodiscard]] bool isNotAlternativeBody() const;
  [[nodiscard]] bool isEmailAttachment(bool underMixed) const;
  [[nodiscard]] bool isStrictAttachment() const;
  [[nodiscard]] bool isMultipartMixedForAttachmentPurposes() const;

  // People and date; known at the root only.
  /// Null when no address could be read in From.
  [[nodiscard]] const _tnEmailAddress* from() const { return from_.get(); }
  [[nodiscard]] const ExtPtrArray<_tnEmailAddress>& to() const { return to_; }
  [[nodiscard]] const ExtPtrArray<_tnEmailAddress>& cc() const { return cc_; }
  [[nodiscard]] const ExtPtrArray<_tnEmailAddress>& bcc() const { return bcc_; }
  [[nodiscard]] const TarnellSysTime& date() const { return date_; }
  /// Replaces `out` by From as the application shows it: the entry read in it or the raw field.
  void getFromFullUtf8(std::string& out, LogBase& log) const;
  /// The bare address; empty when none could be read.
  void getFromAddressUtf8(std::string& out) const;

  // Loading and changing. Those that concern the header keep its fields in step, the content type
  // and charset when `refreshContentTypeHeader` is called: see `contentTypeChanged`.
  [[nodiscard]] DataBuffer& body_rw() { return m_body; }
  [[nodiscard]] ExtPtrArray<Email2>& parts_rw() { return subparts_; }
  [[nodiscard]] MimeHeader& header_rw() { return header_; }
  void loadPeople(const MimeHeader& header, LogBase& log);
  void loadDate(const MimeHeader& header, LogBase& log);
  /// Takes over what the parsed entity knows of itself, but for its header and body.
  void takeDescription(MimeMessage2& mime);
  void setContentTypeText(std::string_view type);
  void setCodePage(int codePage);
  void setEncoding(std::string_view encoding, LogBase& log);
  void copyDisposition(const Email2& other, LogBase& log);
  [[nodiscard]] bool contentTypeChanged() const { return contentTypeChanged_; }
  void refreshContentTypeHeader(LogBase& log);
  /// A file as an attachment; uses `bytes` up. Null when memory runs out.
  [[nodiscard]] Part createAttachmentFromDataUtf8(std::string_view filename, DataBuffer& bytes,
                                                  LogBase& log) const;
  /// An empty plain text of the same charset; null when memory runs out.
  [[nodiscard]] Part createTextPart(LogBase& log) const;
  /// Turns this entity into a mixed with the text as its first part.
  bool becomeMixed(Part text, LogBase& log);
  void swapChildrenAndType(Email2& other);

 private:
  void removeDisposition();

  std::uint32_t stamp_ = Stamps::kEmail2;
  // The content type or charset is no longer what the header field says.
  bool contentTypeChanged_ = false;
  Common common_;
  DataBuffer m_body;
  ExtPtrArray<Email2> subparts_;
  MimeHeader header_;
  ExtPtrArray<_tnEmailAddress> to_;
  ExtPtrArray<_tnEmailAddress> cc_;
  ExtPtrArray<_tnEmailAddress> bcc_;
  std::unique_ptr<_tnEmailAddress> from_;
  TarnellSysTime date_;
  StringBuffer disposition_;
  StringBuffer encoding_;
  StringBuffer filename_;
  _tnContentType contentType_;
  _tnCharset charset_;
};

/// Replaces `out` by a boundary made from `seed`: the same for the same content.
void makeBoundary(std::string_view seed, StringBuffer& out);

}  // namespace keldane::mime

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

/// One entity of a mail as a reader sees it, with its parts below it: who, when, which text, which
/// attachments. Made from a `MimeMessage2` tree, which it uses up. Bodies of texts are UTF-8.
///
/// Not for editing mail: the only changes are the repairs at load and those that writing the
/// message anew needs (`getMimeText`). Every walk goes as deep as the tree, which the parser keeps
/// below 250 levels. One thread at a time.
class Email2 : public TarnellObject {
 public:
  using Common = std::shared_ptr<_tnEmailCommon>;
  using Part = std::unique_ptr<Email2>;
  /// Parts of the tree they were asked of; valid as long as that tree.
  using PartList = std::vector<Email2*>;

  /// Kinds of multipart that are looked for by kind.
  enum class Enclosure { kMixed = 1, kAlternative = 2, kRelated = 3, kDigest = 4, kReport = 5 };
  /// Deepest level below the root at which an enclosure is looked for.
  static constexpr int kMaxEnclosureDepth = 3;
  /// Files taken out of one uuencoded body; the rest of such a body is dropped.
  static constexpr int kMaxUuFiles = 10000;
  /// Texts of different types that one mail can be read as.
  static constexpr std::size_t kMaxAlternatives = 256;
  /// Wrongly nested multiparts put right in one mail.
  static constexpr int kMaxNestingFixes = 1000;

  explicit Email2(Common common);
  Email2(const Email2&) = delete;
  Email2& operator=(const Email2&) = delete;
  ~Email2() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kEmail2; }

  // Loading.
  /// The tree of a message text; null when the parser refuses the text or memory runs out. `isUtf8`
  /// as in `MimeMessage2::loadMimeComplete`.
  static Part createFromMimeText2(const Common& common, std::string_view text, bool isUtf8,
                                  LogBase& log);
  /// The tree of a parsed message, whose bodies and parts are moved out of it.
  static Part createFromMimeObject2(const Common& common, MimeMessage2& mime, LogBase& log);
  /// Repairs of the parsed message as a whole: several recipient fields of one name, a message that
  /// is itself an attachment, a mixed that should be an alternative.
  static void loadFromMimeTextProcessing(MimeMessage2& mime, LogBase& log);
  /// Puts right an alternative (a mixed) that was put inside a related instead of around it.
  void checkFixAltRelatedNesting(LogBase& log);
  void checkFixRelMixNesting(LogBase& log);

  // The entity.
  [[nodiscard]] int getNumParts() const { return subparts_.getSize(); }
  /// Null when out of range.
  [[nodiscard]] Email2* getPart(int index) const { return subparts_.elementAt(index); }
  [[nodiscard]] const MimeHeader& header() const { return header_; }
  [[nodiscard]] const DataBuffer& body() const { return m_body; }
  /// Lower case, empty without a Content-Type.
  [[nodiscard]] std::string_view contentType() const { return contentType_.contentType().view(); }
  [[nodiscard]] const _tnCharset& charset() const { return charset_; }
  [[nodiscard]] std::string_view disposition() const { return disposition_.view(); }
  [[nodiscard]] std::string_view encoding() const { return encoding_.view(); }
  [[nodiscard]] std::string_view contentId() const { return contentId_.view(); }
  /// Of the disposition; `attributeName` is the name of the content type.
  [[nodiscard]] std::string_view filename() const { return filename_.view(); }
  [[nodiscard]] std::string_view attributeName() const { return contentType_.name().view(); }
  [[nodiscard]] bool isMultipart() const;
  [[nodiscard]] bool isAttachmentDisposition() const;

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

  // Bodies; asked of the root. `out` is replaced. With a list of parts to be `kept`, any other that
  // is huge loses its body to the answer.
  [[nodiscard]] bool hasBodyOfType(std::string_view type);
  bool getPlainTextBodyUtf8(std::string& out, LogBase& log, const PartList* kept = nullptr);
  bool getHtmlBodyUtf8(std::string& out, LogBase& log, const PartList* kept = nullptr);
  /// The part whose bytes are the HTML text; null when there is none.
  Email2* htmlLeaf();
  /// The texts that a reader may choose between, the first of each content type.
  void enumerateAlternatives(const Email2& root, PartList& list);
  /// Place in that list of the candidate with this type, or -1; the list is then filled.
  int getAlternativeIndexByContentType(std::string_view type, PartList& list);
  /// The part whose bytes stand for the text of this one; null when it is no text.
  [[nodiscard]] Email2* effectiveBodyPart();
  [[nodiscard]] bool isNotAlternativeBody() const;

  // Attachments; asked of the root.
  void attachmentIterate2(bool underMixed, PartList& list);
  /// The attachments of the mail in order.
  [[nodiscard]] PartList attachments();
  [[nodiscard]] bool isEmailAttachment(bool underMixed) const;
  [[nodiscard]] bool isStrictAttachment() const;
  [[nodiscard]] bool isMultipartMixedForAttachmentPurposes() const;
  /// The part, one of its children, or one below those; null when there is none.
  Email2* findMultipartEnclosure(Enclosure kind, int depth = 0);
  /// What the related multipart of the mail holds besides its page.
  [[nodiscard]] PartList relatedItems();

  // As an attachment.
  /// Replaces `out` by the file name, made up from the type when there is none.
  void getFilenameUtf8(std::string& out, LogBase& log) const;
  /// Replaces `out` by the bytes, uudecoded when they still are uuencoded.
  void getAttachmentData(std::string& out) const;
  /// Replaces `out` by the bytes as text, in whichever charset they make sense.
  void getAttachmentString(std::string_view charset, std::string& out, LogBase& log) const;
  /// Replaces `out` by the bytes read in the charset, up to a NUL; as they stand when the charset
  /// is not known, the ANSI page without a name. False for a charset that cannot be converted, and
  /// for bytes of no declared charset that are no text.
  bool getRelatedString(std::string_view charset, std::string& out, LogBase& log) const;

  /// Writes the message anew, appended to `out`. Changes transfer encodings of the tree where a
  /// text needs it.
  bool getMimeText(DataBuffer& out, LogBase& log);

 private:
  // email.cpp
  [[nodiscard]] bool isType(std::string_view type) const { return contentType() == type; }
  /// A leaf without a type is plain text.
  [[nodiscard]] std::string_view comparedType() const;
  [[nodiscard]] bool isTextOrTypeless() const;
  void setContentTypeText(std::string_view type);
  void setCodePage(int codePage);
  void setEncoding(std::string_view encoding, LogBase& log);
  void removeDisposition();
  void copyDisposition(const Email2& other, LogBase& log);
  void refreshContentTypeHeader(LogBase& log);
  static Part createAttachmentFromDataUtf8(const Common& common, std::string_view filename,
                                           DataBuffer& bytes, LogBase& log);
  [[nodiscard]] Part createTextPart(LogBase& log) const;
  bool becomeMixed(Part text, LogBase& log);

  // email_load.cpp
  static Part createFromEntity(const Common& common, MimeMessage2& mime, bool isRoot, LogBase& log);
  void loadPeople(const MimeHeader& header, LogBase& log);
  void loadDate(const MimeHeader& header, LogBase& log);
  void takeDescription(MimeMessage2& mime);
  bool loadParts(MimeMessage2& mime, LogBase& log);

  // email_text_fix.cpp
  bool takeUuencodedFiles(int headerCodePage, LogBase& log);
  bool takeBareAttachment(LogBase& log);
  void fixBody(bool hasParts, int headerCodePage, LogBase& log);
  void checkFixEmailTextBody();
  void checkFixUnicodeHtml();
  void detectAndSetCharset(int headerCodePage, LogBase& log);
  bool checkConvertBody(int codePage, LogBase& log);

  // email_bodies.cpp
  void checkAddEmailUniqueContentType(PartList& list);
  void enumerateMixed(const Email2& root, PartList& list);
  void enumerateAlternativeOrRelated(const Email2& root, PartList& list);
  bool findPlainText(PartList& texts, LogBase& log);
  static bool mayTake(const Email2* leaf, const PartList* kept);
  static void readBody(Email2* leaf, bool nulsToBlanks, const PartList* kept, std::string& out);
  Email2* findHtml();
  Email2* findHtmlPart();

  // email_repair.cpp
  void fixNesting(std::string_view innerType, LogBase& log);
  void fixNestingBelow(std::string_view innerType, const Email2* settled, int& fixesLeft,
                       LogBase& log);
  [[nodiscard]] Part takeInner(std::string_view innerType, LogBase& log);
  bool adoptRelated(Part related);
  void swapChildrenAndType(Email2& other);

  // email_emit.cpp
  void safeguardBodies(LogBase& log);
  void safeguardText(LogBase& log);
  void setEncodingViaCodePage(int codePage, LogBase& log);
  bool assembleMimeBody2(DataBuffer& out, LogBase& log);
  bool assembleParts(DataBuffer& out, LogBase& log);
  void convertForEmit(DataBuffer& converted, LogBase& log);
  bool emitLeafBody(std::string_view body, DataBuffer& out) const;
  bool getMimePostProcess(DataBuffer& out, LogBase& log) const;

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
  StringBuffer contentId_;
  StringBuffer filename_;
  _tnContentType contentType_;
  _tnCharset charset_;
};

}  // namespace keldane::mime

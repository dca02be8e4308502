#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mime/tno_date_time.h"

namespace keldane::mime {

class TnEmail;

/// One message as a reader of mail asks for it: who, when, which text, which attachments. Wraps the
/// engine's e-mail object; every text goes in and comes out as UTF-8.
///
/// A missing value is `std::nullopt`, and `LastErrorText` then tells why. One thread at a time per
/// object; calls lock it. A new `SetFromMimeText` replaces the message.
class TnoEmail {
 public:
  TnoEmail();
  ~TnoEmail();
  TnoEmail(const TnoEmail&) = delete;
  TnoEmail& operator=(const TnoEmail&) = delete;

  /// Parses a message. False only when no message object could be made of the text ("Failed to
  /// create email object from MIME text").
  bool SetFromMimeText(std::string_view text);

  /// First field of that name, in any case, encoded words decoded. Missing: "Header field does not
  /// exist".
  std::optional<std::string> GetHeaderField(std::string_view name);
  std::optional<std::string> Subject();
  /// `"Name" <address>` or the bare address; the raw field when no address could be read in it.
  std::optional<std::string> From();
  std::optional<std::string> FromAddress();

  int NumTo();
  std::optional<std::string> GetTo(int index);
  std::optional<std::string> GetToAddr(int index);
  int NumCC();
  std::optional<std::string> GetCC(int index);
  std::optional<std::string> GetCcAddr(int index);
  /// All that `GetTo`, then `GetCC` give, joined by ",". Of a huge entry no copy is made beside it.
  std::optional<std::string> GetRecipients();

  /// The message's date; the moment of loading when it has none that can be read. Null only when
  /// memory runs out.
  std::unique_ptr<TnoDateTime> GetDt();

  bool HasPlainTextBody();
  std::optional<std::string> GetPlainTextBody();
  bool HasHtmlBody();
  std::optional<std::string> GetHtmlBody();
  /// The same texts for a caller who wants each only once, the plain one first: a huge one is then
  /// not in memory twice. Afterwards the bodies may be gone; attachments and related items stay.
  std::optional<std::string> TakePlainTextBody();
  std::optional<std::string> TakeHtmlBody();

  /// Attachments by index from 0. Each call walks the message again.
  int NumAttachments();
  std::optional<std::string> GetAttachmentFilename(int index);
  std::optional<std::string> GetAttachmentContentType(int index);
  std::optional<std::string> GetAttachmentData(int index);
  std::optional<std::string> GetAttachmentAttr(int index, std::string_view fieldName,
                                               std::string_view attrName);
  std::optional<std::string> GetAttachmentString(int index, std::string_view charset);

  /// Items of the multipart/related of the message (inline images and the like).
  int NumRelatedItems();
  std::optional<std::string> GetRelatedFilename(int index);
  std::optional<std::string> GetRelatedContentType(int index);
  std::optional<std::string> GetRelatedData(int index);
  std::optional<std::string> GetRelatedAttr(int index, std::string_view fieldName,
                                            std::string_view attrName);
  std::optional<std::string> GetRelatedString(int index, std::string_view charset);

  /// The message written anew: well-formed, not byte-exact.
  std::optional<std::string> GetMime();

  bool LastMethodSuccess() const;
  /// The story of the last call, one line an entry, in call order.
  std::string LastErrorText() const;
  /// With verbose logging off (the default) only errors are recorded.
  void setVerboseLogging(bool on);

 private:
  std::unique_ptr<TnEmail> impl_;
};

}  // namespace keldane::mime

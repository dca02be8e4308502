#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "mime/mail_source.h"
#include "query/message_html.h"

namespace keldane {

/// How stored sources are read: the way a run reads files.
struct SourceReading {
  /// Takes what the mail client has added off a raw source; empty: nothing does.
  std::function<void(std::string& source)> stripPlist;
  /// Whether the parts of a source that was no UTF-8 are read in the charsets they declare.
  bool declaredCharsets = true;
};

/// A picture that stands within the HTML of a message.
struct InlineImage {
  std::string contentId;  ///< as a "cid:" reference names it
  std::string type;       ///< "image/png"
  std::string bytes;
};

/// A message as it is viewed.
struct MessageContent {
  /// What stands below the headers of its source, for a message without a row.
  std::string sourceText;
  /// Fields and body; absent when the message has no row, or that could not be read.
  std::optional<std::string> messageText;
  /// Its HTML under a block of header lines, or the HTML document that is stored as its body;
  /// absent for a message that is viewed as text.
  std::optional<std::string> html;
  std::size_t headerBlockBytes = 0;  ///< length of that block at the beginning of `html`
  HeaderBlock header;                ///< as its source has it; empty without one
  std::string sentDate;              ///< its Date field as it was written; empty without one
  std::string error;  ///< the server's words and the statement, when the row could not be read
};

/// Reads the raw sources that the archive holds. One thread at a time.
class StoredSources {
 public:
  StoredSources(ServerSession& session, SourceReading reading)
      : session_(session), reading_(std::move(reading)) {}

  /// The source of a message to the byte, unstripped; "0" for a message without one. Fails with the
  /// server's words.
  [[nodiscard]] Result<std::string> fetch(std::uint32_t id);
  /// Makes a source that `fetch` gave UTF-8, strips it, and reads it into `message`. What the
  /// engine refuses gives an empty message. Of the options the visitors count.
  void read(std::uint32_t id, std::string& source, mime::MailSource& message,
            mime::MailSource::Options options = {});

  /// The whole plain text of a message's source, for `formatMessageText`; nullopt when there is no
  /// source, or no plain text in it, and the stored body stands. Fails with the server's words.
  [[nodiscard]] Result<std::optional<std::string>> wholeText(std::uint32_t id);

  /// A message as a person reads, saves and prints it: the fields of `formatMessageText`, and under
  /// them its whole plain text. The stored body, whose first paragraph is left out, stands there
  /// only where the source gives none. Fails with the server's words, or when there is no such
  /// message.
  [[nodiscard]] Result<std::string> textForReader(std::uint32_t id, std::string_view listDate,
                                                  bool stripQuoted);

  /// The pictures among a message's parts to which its HTML can refer; none without a source. Fails
  /// with the server's words.
  [[nodiscard]] Result<std::vector<InlineImage>> inlineImages(std::uint32_t id);

  /// A message as it is viewed, out of its row and the source that `fetch` gave; an empty source
  /// stands for one that could not be had.
  [[nodiscard]] MessageContent readMessage(std::uint32_t id, std::string source,
                                           const HeaderDate& date);
  /// The HTML of a source under its block of header lines, when it is long enough to be the one
  /// that an attachment holds.
  [[nodiscard]] std::optional<std::string> readHtmlVersion(std::uint32_t id, std::string source,
                                                           const HeaderDate& date);

 private:
  [[nodiscard]] std::optional<std::string> htmlOf(mime::MailSource& message);
  [[nodiscard]] Result<std::optional<std::string>> formatRow(
      std::uint32_t id, std::string_view listDate, bool stripQuoted,
      const std::optional<std::string>& wholeBody);
  [[nodiscard]] mime::SourceEncoding encodingOf(std::uint32_t id, std::string_view text);

  ServerSession& session_;
  SourceReading reading_;
};

/// Whether `fetch` gave a source, and not the answer for none.
[[nodiscard]] bool isSource(std::string_view source);

/// The whole plain text of a message that has been read, its lines ended by "\n". Absent when it
/// has none, or nothing in it but blanks.
[[nodiscard]] std::optional<std::string> wholePlainText(mime::TnoEmail& email);

}  // namespace keldane

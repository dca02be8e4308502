#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "base/result.h"
#include "mime/mail_source.h"

namespace keldane {

/// Reads the raw sources that the archive holds, the way a run reads files. One thread at a time.
class StoredSources {
 public:
  struct Callbacks {
    /// Takes what the mail client has added off a raw source.
    std::function<void(std::string& source)> stripPlist;
    /// Whether the parts of a source that was no UTF-8 are read in the charsets they declare;
    /// empty: they are.
    std::function<bool()> declaredCharsets;
    /// Sends a statement; empty: the session does.
    std::function<bool(const std::string& sql)> query;
  };

  explicit StoredSources(ServerSession& session) : session_(session) {}
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// The source of a message to the byte, unstripped; "0" for a message without one. Fails with the
  /// server's words.
  [[nodiscard]] Result<std::string> fetch(std::uint32_t id);
  /// Makes a source that `fetch` gave UTF-8, strips it, and reads it into `message`. What the
  /// engine refuses gives an empty message.
  void read(std::uint32_t id, std::string& source, mime::MailSource& message);

  /// The whole plain text of a message's source, for `formatMessageText`; nullopt when there is no
  /// source, or no plain text in it, and the stored body stands. Fails with the server's words.
  [[nodiscard]] Result<std::optional<std::string>> wholeText(std::uint32_t id);

  /// A message as a person reads, saves and prints it: the fields of `formatMessageText`, and under
  /// them its whole plain text. The stored body, whose first paragraph is left out, stands there
  /// only where the source gives none. Fails with the server's words, or when there is no such
  /// message.
  [[nodiscard]] Result<std::string> textForReader(std::uint32_t id, std::string_view listDate,
                                                  bool stripQuoted);

 private:
  [[nodiscard]] bool query(const std::string& sql);
  [[nodiscard]] mime::SourceEncoding encodingOf(std::uint32_t id, std::string_view text);

  ServerSession& session_;
  Callbacks callbacks_;
};

/// Whether `fetch` gave a source, and not the answer for none.
[[nodiscard]] bool isSource(std::string_view source);

/// The whole plain text of a message that has been read, its lines ended by "\n". Absent when it
/// has none, or nothing in it but blanks.
[[nodiscard]] std::optional<std::string> wholePlainText(mime::TnoEmail& email);

}  // namespace keldane

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"
#include "mime/tno_email.h"
#include "mime/tno_mime.h"
#include "mime/tree/part_walk.h"

namespace keldane::mime {

/// How the bytes of a file became the text of a source. The numbers are those that the archive
/// notes.
enum class SourceEncoding { utf8 = 4, latin1 = 5 };

/// A message's source, read in the one way in which every message is read here, so that archive,
/// viewer and `inspect` see the same texts: the engine loads it, writes it anew, and the e-mail
/// object is made from that. One thread at a time.
class MailSource {
 public:
  struct Options {
    SourceEncoding encoding = SourceEncoding::utf8;
    /// Of a source that was read as ISO Latin 1 the engine gets the bytes of the file, so that each
    /// part is read in the charset it declares.
    bool declaredCharsets = true;
    /// Called for each leaf of the tree, see `walkParts`. May be empty.
    PartVisitor visitPart = {};
    /// Beside it: called for each part that holds others. May be empty.
    ContainerVisitor visitContainer = {};
    /// Called with the whole tree and the message as it was written anew. May be empty.
    std::function<void(TnoMime& tree, std::string_view mimeText)> visitTree = {};
  };

  /// `text`: UTF-8, without count line and property list. Fails when the engine refuses the text or
  /// memory runs out; the object is then empty. What `visitPart` throws comes through.
  [[nodiscard]] Result<void> load(std::string_view text, const Options& options);
  /// The e-mail object of the last `load`.
  [[nodiscard]] TnoEmail& email() { return *email_; }
  /// First field of that name as the source has it, encoded words decoded; nullopt when missing.
  /// Kept are "Date" and "Received".
  [[nodiscard]] const std::optional<std::string>& dateField() const { return dateField_; }
  [[nodiscard]] const std::optional<std::string>& receivedField() const { return receivedField_; }
  /// Something of the source was kept as text because it lay beyond a limit, see `TnoMime`.
  [[nodiscard]] bool beyondLimits() const { return beyondLimits_; }
  /// Gives back the memory of the message; `email` is then that of none.
  void clear();

 private:
  [[nodiscard]] Result<void> loadChain(std::string_view text, const Options& options);

  // Optional only so that what they hold can be given back.
  std::optional<TnoMime> mime_{std::in_place};
  std::optional<TnoEmail> email_{std::in_place};
  std::optional<std::string> dateField_;
  std::optional<std::string> receivedField_;
  bool beyondLimits_ = false;
};

}  // namespace keldane::mime

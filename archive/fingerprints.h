#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "mime/mail_source.h"

namespace keldane {

/// What the archive notes of a message beside its prescribed rows: the digests by which messages
/// are told apart, and what it takes to give back the source as it lay in its file.
struct Fingerprint {
  std::string_view sourceSha256 = {};   ///< of the bytes in the file; empty when not known
  std::string_view contentSha256 = {};  ///< of what the message says; empty when not known
  std::uint64_t sizeBytes = 0;
  mime::SourceEncoding encoding = mime::SourceEncoding::utf8;
  int lineEnds = 0;  ///< 0 LF, 1 CR LF, 2 CR
  std::string_view path = {};
  std::optional<std::uint64_t> offsetBytes = std::nullopt;
  const std::string* exactBytes = nullptr;  ///< where the rest cannot give the bytes back
};

/// A message as the one that is looked for among those stored.
struct SoughtMessage {
  Fingerprint fingerprint;
  std::string_view original;  ///< its source as text, property list still on it
};

/// The table `keldane_fingerprints`, one row for each message. It is a help only: the archive is
/// whole without it, and a row that is missing or was made by an older way of reading is made again
/// from `origemail`. One thread at a time.
class Fingerprints {
 public:
  struct Context {
    ServerSession& session;
    /// Cuts count line and property list off a source.
    std::function<void(std::string& source)> stripPlist = {};
    /// How a source that was read as ISO Latin 1 is given to the engine; empty: as it declares.
    std::function<bool()> declaredCharsets = {};
    /// Nothing is made or noted; a table that is missing is done without.
    bool readsOnly = false;
  };
  enum class Match {
    same,
    different,
    unknown,  ///< there is no source to compare with
    refused,  ///< the server has refused a statement; its text tells why
  };
  struct Look {
    Match match = Match::different;
    std::uint32_t id = 0;  ///< of the stored message that is the same, or that cannot be compared
  };

  explicit Fingerprints(Context context) : context_(std::move(context)) {}

  /// Makes the table when it is missing. False: the server refuses; comparing works without it,
  /// only slower.
  bool open();
  /// Writes the row of a message, in place of one that is left over from an older message of that
  /// id. False: refused.
  [[nodiscard]] bool write(std::uint32_t id, const Fingerprint& fingerprint);
  /// A row that stays because the server refuses does no harm: the next message of the id replaces
  /// it.
  void remove(std::uint32_t id);

  /// Looks for the message among the stored ones that `condition`, on columns of `email`, selects.
  /// `first` is looked at before the others, and it alone is told of when it has no source; 0:
  /// none.
  [[nodiscard]] Look find(const std::string& condition, const SoughtMessage& sought,
                          std::uint32_t first);
  /// What a source says when it is read in one way.
  struct Content {
    mime::SourceEncoding encoding;
    std::string sha256;
  };
  /// What is known of a stored message.
  struct Stored {
    std::uint32_t id = 0;
    bool comparable = true;  ///< it has a source, or had one when its digest was made
    std::string sourceSha256;
    std::vector<Content> contents;  ///< two when it is not known how the source was read
  };
  /// nullopt: refused.
  [[nodiscard]] std::optional<Stored> load(std::uint32_t id);
  /// Compares two stored messages. Of two without a source the rows are compared; one that has a
  /// source is never the same as one that has none.
  [[nodiscard]] Match compare(const Stored& one, const Stored& other);

 private:
  [[nodiscard]] Match readSource(std::uint32_t id, std::string& source);
  [[nodiscard]] Match compareSource(std::uint32_t id, std::optional<int> encoding,
                                    const SoughtMessage& sought);
  [[nodiscard]] Match compareRows(std::uint32_t one, std::uint32_t other);
  [[nodiscard]] std::vector<Content> contentsOf(std::string source, std::optional<int> encoding);
  void note(std::uint32_t id, const Content& content);
  [[nodiscard]] int readingOf(mime::SourceEncoding encoding) const;
  [[nodiscard]] std::string knownSql() const;

  Context context_;
  mime::MailSource source_;
  bool available_ = false;
};

/// The number in the column `reading` of a row that is made now, of a source read so. Digests of
/// other numbers are not compared.
[[nodiscard]] int fingerprintReading(mime::SourceEncoding encoding, bool declaredCharsets);

/// The bytes that a row keeps compressed; `sizeBytes` as the row has it. Fails when they are
/// damaged.
[[nodiscard]] Result<std::string> unpackedBytes(std::string_view packed, std::uint64_t sizeBytes);

}  // namespace keldane

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "archive/server_session.h"
#include "ingest/storing/email_columns.h"
#include "ingest/storing/statement_text.h"
#include "ingest/storing/store_errors.h"

namespace keldane {

/// The values of the message at hand as the duplicate test takes them, not escaped.
struct DuplicateKey {
  std::string_view date;
  std::string_view to;
  std::string_view from;
  std::string_view body;  ///< trimmed
};

/// The beginning of a body that tells messages apart; absent when it tells nothing.
[[nodiscard]] std::optional<std::string_view> comparedBeginning(std::string_view body);

struct DuplicateAnswer {
  std::uint32_t id = 0;  ///< of the stored message that this one repeats; 0: none
  /// Selects those with the same date, to and from out of `email`; empty when there are none.
  std::string condition;
};

/// Looks for the stored message that this one repeats: same date, same to, same from, and the
/// first 400 characters of the body begin the stored body. A body of at most two characters, or one
/// with a quote or backslash in those 400, is not looked at. The subject plays no part. Characters
/// of the body that are wildcards act as such. A refused statement makes the message a new one.
[[nodiscard]] DuplicateAnswer findDuplicate(ServerSession& session, const DuplicateKey& key,
                                            const EmailColumns& columns, StatementText& sql,
                                            StoreErrors& errors);

/// What a run that writes nothing remembers in place of rows: the messages that it would have
/// stored, so that a later one which repeats them is told as what it would be. Texts are compared
/// byte by byte here; the server, which takes letters of either case for the same, may find more.
class DryStore {
 public:
  /// Without an archive every message is new, but for those met before.
  explicit DryStore(bool hasArchive) : hasArchive_(hasArchive) {}

  [[nodiscard]] bool hasArchive() const { return hasArchive_; }

  struct Earlier {
    bool isSame = false;   ///< the message repeats an earlier one
    bool differs = false;  ///< the duplicate test takes it for one that says something else
    std::string path;      ///< of that one
  };
  /// `contentSha256` decides where there is one; empty: the duplicate test alone.
  [[nodiscard]] Earlier find(const DuplicateKey& key, std::string_view contentSha256) const;
  void add(const DuplicateKey& key, std::string_view contentSha256, const std::string& path);

 private:
  [[nodiscard]] const std::string* pathOf(const std::string& digest) const;

  bool hasArchive_;
  std::unordered_map<std::string, std::size_t> seen_;  ///< digest, index into `paths_`
  std::vector<std::string> paths_;
};

}  // namespace keldane

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace keldane

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "settings/settings_values.h"

namespace keldane {

/// Widths of the archive's text columns, in characters. A longer text is cut by the server, or
/// refused by one in a strict mode.
inline constexpr std::size_t kWidthOfCategory = 127;
inline constexpr std::size_t kWidthOfKeywords = 127;
inline constexpr std::size_t kWidthOfAccount = 127;
inline constexpr std::size_t kWidthOfMailbox = 255;
inline constexpr std::size_t kWidthOfBrowseName = 127;
inline constexpr std::size_t kWidthOfImportFolder = 127;
inline constexpr std::size_t kWidthOfSettingNumber = 16;

/// Fails, with `what` in the sentence, when the text does not fit into a column of this width.
[[nodiscard]] Result<void> checkWidth(const char* what, std::string_view text, std::size_t width);

/// The settings of one archive as its tables hold them.
struct StoredSettings {
  std::string database;
  int rowCount = 0;  ///< rows of the table `settings`: one, once they have been saved
  ArchiveSettings row;
  std::vector<std::string> accounts;
  std::vector<std::string> mailboxes;
  std::vector<std::string> categories;

  /// The same settings, whatever archive they are of.
  [[nodiscard]] bool sameAs(const StoredSettings& other) const;
};

/// The one place that reads and writes the tables `settings`, `accounts`, `mailboxes` and
/// `categories`. Other programs use them at the same time: what is written is what the caller has
/// changed since he read them, over what the tables hold by then, under a named lock of the server
/// and in the turn that a row of the archive gives, for a cluster has no lock for all its nodes.
/// The archive must be selected. Not for two threads at once.
class SettingsStore {
 public:
  explicit SettingsStore(ServerSession& session) : session_(session) {}

  /// Each false with the session's error. `readRow` leaves `row` as it is when there is none.
  [[nodiscard]] bool readRow(StoredSettings& into);
  [[nodiscard]] bool readAccounts(std::vector<std::string>& names);
  [[nodiscard]] bool readMailboxes(std::vector<std::string>& names);
  [[nodiscard]] bool readCategories(std::vector<std::string>& names);
  [[nodiscard]] bool read(StoredSettings& into);

  /// Saves what differs between `known`, as it was read, and `ours`; sends nothing when nothing
  /// does. Without `known` all of `ours` is saved, into an archive that has no settings yet. After
  /// a failure the tables hold what they held before.
  [[nodiscard]] Result<void> save(const StoredSettings* known, const StoredSettings& ours);

 private:
  enum class Lock { held, busy, unavailable };

  [[nodiscard]] bool readNames(const char* sql, std::vector<std::string>& names);
  [[nodiscard]] Lock takeLock(const std::string& name);
  /// One transaction and what came of it.
  struct Attempt {
    Result<void> saved = {};
    bool wrote = false;
    bool cameSecond = false;  ///< another program was quicker; nothing is written
  };
  [[nodiscard]] Attempt saveInTurn(const StoredSettings* known, const StoredSettings& ours);
  [[nodiscard]] Attempt saveOnce(const StoredSettings* known, const StoredSettings& ours);
  [[nodiscard]] bool takeTurn();
  [[nodiscard]] Attempt giveUp(const StoredSettings* before);
  [[nodiscard]] bool write(const StoredSettings& now, const StoredSettings& wanted);
  [[nodiscard]] bool writeNames(const char* deleteSql, std::string_view insertSql,
                                const std::vector<std::string>& names);

  ServerSession& session_;
};

}  // namespace keldane

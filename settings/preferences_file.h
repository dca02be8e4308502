#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "settings/property_list.h"

namespace keldane {

/// The user's preferences: one property list, mode 0600, replaced in one step by each `save`, with
/// every key that nobody here knows kept as it is. A file that cannot be read as a property list is
/// copied aside (name + ".damaged-" + date) before the first save, so that nothing in it is lost.
/// Main thread only; other programs may write the file between our saves, so `save` reads it again
/// under a lock (name + ".lock"), and puts only the keys that were changed or removed here over
/// what it finds. A list is changed entry by entry with `edit`: a `set` would take back what
/// another program has added to it.
class PreferencesFile {
 public:
  explicit PreferencesFile(std::string path);

  /// Reads the file. A missing file is an empty list of keys, not a failure. After a failure the
  /// list is empty too. A damaged file is kept aside by the next `save`, under the name that the
  /// failure tells; one that cannot be read at all makes that `save` fail.
  [[nodiscard]] Result<void> load();
  /// Fails with the file as it was, and keeps the changes for the next time.
  [[nodiscard]] Result<void> save();
  /// Saves, and does `change` to the keys as they stand in the file by then. Called again in a
  /// later `save` when this one fails, so it must hold its own values.
  [[nodiscard]] Result<void> edit(std::function<void(PlistDict& keys)> change);

  [[nodiscard]] bool has(std::string_view key) const;
  [[nodiscard]] const PlistValue* find(std::string_view key) const;
  [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
  /// A value that is there already is no change.
  void set(std::string_view key, PlistValue value);
  void setText(std::string_view key, std::string value);
  void setInteger(std::string_view key, std::int64_t value);
  void remove(std::string_view key);
  [[nodiscard]] std::vector<std::string> keys() const;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  /// The file's keys; nullopt when there is none. A damaged one is put into `damage`.
  struct Contents {
    std::optional<PlistDict> keys;
    std::optional<std::string> damage;
  };
  [[nodiscard]] Result<Contents> read() const;
  void keep(PlistValue list);
  [[nodiscard]] Result<void> keepAside(const std::string& bytes);

  std::string path_;
  std::string asidePath_;  ///< for a damaged file, once one has been seen
  PlistDict values_;
  std::map<std::string, std::optional<PlistValue>, std::less<>> changes_;
  std::vector<std::function<void(PlistDict&)>> edits_;
};

/// The list under a key, made when there is none, for the use within an `edit`.
[[nodiscard]] PlistArray& listAt(PlistDict& keys, const std::string& key);
/// First dictionary of a list with this text under `key`; nullptr when there is none.
[[nodiscard]] PlistDict* entryNamed(PlistArray& list, const std::string& key,
                                    const std::string& text);

}  // namespace keldane

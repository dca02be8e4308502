#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ingest/storing/duplicate_check.h"

namespace keldane {

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

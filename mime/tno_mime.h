#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace keldane::mime {

class TnMime;

/// The tree of parts of one message text. The archiver loads a text, takes it back repaired and
/// rewritten, and asks for single header fields.
class TnoMime {
 public:
  TnoMime();
  ~TnoMime();
  TnoMime(const TnoMime&) = delete;
  TnoMime& operator=(const TnoMime&) = delete;

  /// Parses the text, however broken it is. False for a text of 20 MB or more in which no header
  /// ends; the object is then empty.
  bool LoadMime(std::string_view text);
  /// The message written anew from the tree, as UTF-8 text.
  std::optional<std::string> GetMime();
  /// First field of that name, in any case, encoded words decoded; nullopt when missing.
  std::optional<std::string> GetHeaderField(std::string_view name);
  /// The tree as indented lines, one a part: type, charset, encoding, disposition, name, body size.
  std::string describeTree();

  bool LastMethodSuccess() const;
  std::string LastErrorText() const;
  void setVerboseLogging(bool on);

 private:
  std::unique_ptr<TnMime> impl_;
};

}  // namespace keldane::mime

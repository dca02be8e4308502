#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mime/tree/part_walk.h"

namespace keldane::mime {

class StringBuffer;
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
  /// The same for the bytes of a file that is not UTF-8: each part is read in the charset it
  /// declares, and what no charset explains as ISO Latin 1. All that comes back is UTF-8.
  bool LoadMimeBytes(std::string_view bytes);
  /// The message written anew from the tree, as UTF-8 text.
  std::optional<std::string> GetMime();
  /// The same into a text of the engine, without a copy of it. Replaces `out`.
  bool takeMimeText(StringBuffer& out);
  /// First field of that name, in any case, encoded words decoded; nullopt when missing.
  std::optional<std::string> GetHeaderField(std::string_view name);
  /// Shows each leaf of the tree, see `walkParts`, and uses the tree up: the object is to be loaded
  /// anew. False: no memory.
  bool takeLeaves(const PartVisitor& visit, const ContainerVisitor& enter = {});
  /// The message holds more parts, fields or parameters than are taken apart (mime/limits.h). What
  /// lies beyond was kept as text.
  [[nodiscard]] bool beyondLimits() const;
  /// The tree as indented lines, one a part: type, charset, encoding, disposition, name, body size.
  std::string describeTree();

  bool LastMethodSuccess() const;
  std::string LastErrorText() const;
  void setVerboseLogging(bool on);

 private:
  std::unique_ptr<TnMime> impl_;
};

}  // namespace keldane::mime

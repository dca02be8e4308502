#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "query/stored_source.h"

namespace keldane {

/// What the archive has made of a part of a message.
enum class PartUse {
  container,      ///< it holds the parts below it
  bodyText,       ///< text that is searched and shown
  html,           ///< the HTML version, an attachment of its own
  attachment,     ///< a row of the attachment list
  insideMessage,  ///< left out: it belongs to a message that is attached as a whole
  otherText,      ///< left out: the message has this text in another form
  notKept,        ///< left out: the list has none like it
};

/// A part of a message, as its source has it.
struct MessagePartInfo {
  int depth = 0;  ///< parts around it
  std::string type;
  std::string charset;  ///< as declared; empty when there is none
  std::string name;
  std::uint64_t sizeBytes = 0;  ///< decoded; of a container that is no message 0
  PartUse use = PartUse::notKept;
  /// Its number in the list of attachments, counted from 1; 0: it has none.
  std::size_t attachmentNumber = 0;
};

struct MessageParts {
  std::vector<MessagePartInfo> parts;  ///< containers before what they hold
  /// The bytes of the part that was asked for.
  std::optional<std::string> bytes;
};

/// All parts of a message, from its source, those too that the list of attachments leaves out.
/// `wanted`: also the decoded bytes of this one, counted from 0; a container has bytes only when it
/// is a message. No parts: the archive has no source of the message. Fails with the server's words.
[[nodiscard]] Result<MessageParts> readParts(ServerSession& session, const SourceReading& reading,
                                             std::uint32_t id,
                                             std::optional<std::size_t> wanted = std::nullopt);

}  // namespace keldane

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// Values of the last attachment query, as a flat list that its readers step through by the number
/// of columns asked for. A binary value is held as Base64 lines.
class AttachmentFields {
 public:
  void clear();
  /// Appends the rows of the statement just sent; the column before the last one, when there are
  /// several, is the length of the last. A value that is not UTF-8 is left out: its place stays
  /// empty, so that those behind it keep theirs. 0, or 1 when there is no row; without a result a
  /// line goes to standard error.
  int loadAttachmentRows(ServerSession& session);

  std::vector<std::string> attachFields;
  int attachCount = 0;
  /// Length of all Base64 texts loaded since it was last set to 0.
  std::uint64_t encodedBytes = 0;
};

/// The text under a message that lists its attachments, in the font of message texts. What stands
/// before the first link is gray; links are blue and underlined.
struct AttachmentStrip {
  struct Link {
    std::size_t offsetBytes = 0;  ///< place of the name in `text`
    std::size_t lengthBytes = 0;
    std::string path;  ///< file that the attachment is written to when the link is clicked
  };
  std::string text;
  std::vector<Link> links;
  /// Whether there is anything to show; the strip is then `kHeight` points high.
  bool isShown = false;
  static constexpr int kHeight = 90;
};

inline constexpr std::string_view kLinkMark = "-KD-";

/// The strip for a list of names. Beside an HTML view the message's HTML versions stay out.
[[nodiscard]] AttachmentStrip makeAttachmentStrip(const std::vector<std::string>& names,
                                                  bool htmlShowing, const std::string& folder);

/// An attachment as a list shows it. The name is the one that the message gave, unescaped.
struct AttachmentInfo {
  std::string name;
  std::string type;
  std::uint64_t sizeBytes = 0;
};

/// The attachments of a message, without their bytes.
[[nodiscard]] Result<std::vector<AttachmentInfo>> listAttachments(ServerSession& session,
                                                                  std::uint32_t id);

/// Writes a new file of mode 0600: at `path`, or in the folder of that name under a safe form of
/// `name`, with a number when that is taken. Nothing is ever overwritten. Answers its path.
[[nodiscard]] Result<std::string> saveNewFile(const std::string& path, const std::string& name,
                                              std::string_view bytes);

/// The bytes of one attachment, counted from 0. All attachments of the message are in memory for as
/// long as it takes. Fails when there is none of the number, or with the server's words.
[[nodiscard]] Result<std::string> readAttachment(ServerSession& session, std::uint32_t id,
                                                 std::size_t index);

/// Writes the attachments of a message into a folder, which is made when it is not there, as files
/// of mode 0600 under safe names. A name that is taken gets a number: nothing is ever overwritten.
/// `only`: just this one, counted from 0. Answers the paths, in the order of `listAttachments`.
/// After a failure the files written before it stay. One attachment at a time is in memory.
[[nodiscard]] Result<std::vector<std::string>> saveAttachments(
    ServerSession& session, std::uint32_t id, const std::string& folder,
    std::optional<std::size_t> only = std::nullopt);

}  // namespace keldane

#pragma once

#include <string>
#include <string_view>

#include "base/sha256.h"
#include "mime/mail_source.h"

namespace keldane {

/// What a message says, as one digest: its subject, its texts and the bytes of its attachments, but
/// no header line of transport. The same message that came by two ways has the same digest: line
/// ends, white space at the ends of lines and of texts, and the ">" that an mbox puts before "From
/// " do not count. One message after the other; one thread at a time.
class ContentDigest {
 public:
  /// The next leaf of the message, in the order of the source.
  void addPart(const mime::PartView& part);
  /// The digest of the message, 32 bytes; begins the next one.
  [[nodiscard]] std::string finish(std::string_view subject);

 private:
  void addText(std::string_view text);
  void addLine(std::string_view line);
  void write(std::string_view text);
  void flush();

  Sha256 message_;
  Sha256 part_;
  std::string buffer_;        ///< of the text at hand, not yet given to `part_`
  std::size_t lineEnds_ = 0;  ///< seen and not yet counted: those at the end never are
  bool anyText_ = false;
};

}  // namespace keldane

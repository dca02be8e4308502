#pragma once

#include <string>

#include "base/result.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/partial_file.h"
#include "mime/tno_email.h"

namespace keldane {

/// What the collection of a message's parts depends on.
struct AttachmentLimits {
  bool largeAttachState = false;  ///< parts longer than the size stay out
  double attachSizeBytes = 0;
};

/// Adds the attachments of an e-mail to the message at hand, and its related items behind them:
/// content type, name and data to `msgParts`, what can be read as text to `msgAttachText`. An
/// attachment of fewer than three bytes is a stub and takes the next part of `partial`.
///
/// A related item is measured, as in every archive made so far, by the size of the attachment with
/// the same index, if there is one. So a small picture goes with a big attachment, and a big one
/// stays beside a small one.
///
/// Fails when memory does not suffice for the data of one: the message is then not whole.
[[nodiscard]] Result<void> collectAttachments(mime::TnoEmail& email, const AttachmentLimits& limits,
                                              PartialFile& partial, CurrentMessage& message);

}  // namespace keldane

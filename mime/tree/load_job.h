#pragma once

#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/limits.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

/// What all entities of one load share.
struct MimeMessage2::LoadJob {
  bool fixLineEnds;
  bool isUtf8;
  StringBuffer& charsetClue;
  LogBase& log;
  int partsLeft = limits::kMaxParts;
  int fieldsLeft = limits::kMaxFields;
  /// The bytes at hand lie in a part that is kept as it was signed.
  bool isInsideSigned = false;
  /// The message holds no CR CR and no LF LF.
  bool noPairs = false;
  /// The text of an ISO Latin-1 body turned out to be Windows text; told by the body just set. It
  /// belongs to the load and not to the process, so that two loads on two threads do not mix.
  bool wasReally1252 = false;
  /// The body just being set stands decoded in the entity already.
  bool bodyIsDecoded = false;
  /// Something of the message could not be kept.
  bool outOfMemory = false;
  /// The text is the bytes of a file that is not UTF-8.
  bool isFileBytes = false;
  /// Of such a file: the whole message, and the charset of the first part that names one, looked
  /// for when the first header without a label of its own needs it.
  std::string_view wholeText{};
  int firstDeclared = kNotLookedFor;

  static constexpr int kNotLookedFor = -1;
};

}  // namespace keldane::mime

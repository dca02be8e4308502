// The short form of decoding encoded words in place.
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

bool StringBuffer::qbDecode(LogBase& log) {
  if (!hasEncodedWordMark(view())) return true;
  ContentCoding coding;
  return coding.QB_DecodeToUtf8(*this, log);
}

}  // namespace keldane::mime

// The short form of decoding encoded words in place.
#include "mime/content_coding.h"
#include "mime/encoded_word.h"
#include "mime/log_base.h"
#include "mime/string_buffer.h"

namespace keldane::mime {

bool StringBuffer::qbDecode(LogBase& log) {
  if (!hasEncodedWordMark(view())) return true;
  ContentCoding coding;
  return coding.QB_DecodeToUtf8(*this, log);
}

}  // namespace keldane::mime

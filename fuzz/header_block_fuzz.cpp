// A header block: read, written anew, and read again.
#include <algorithm>
#include <cstdint>
#include <string_view>

#include "fuzz/check.h"
#include "fuzz/memory_watch.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/tn_charset.h"
#include "mime/headers/content_type.h"
#include "mime/headers/mime_header.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const int known : {0, 65001}) {
    const MemoryWatch memory;
    MimeHeader header;
    StringBuffer clue("iso-8859-2");
    header.loadMimeHeaderText(text, MimeHeader::kTerminator, known, &clue, log);
    StringBuffer value;
    if (header.getMimeFieldUtf8("content-type", value, log)) {
      _tnContentType type;
      _tnCharset charset;
      type.loadFromMimeHeaderValue(value.view(), charset, log);
      StringBuffer built;
      type.buildMimeHeaderValue(built, charset, log);
    }
    StringBuffer attribute;
    header.getSubFieldUtf8("content-disposition", "filename", attribute, log);
    header.collapseMultiple("to", log);
    StringBuffer written;
    header.getMimeHeader(written, "", header.getDetectedCP(), false, log);
    written.append("\r\n\r\n");
    MimeHeader again;
    again.loadMimeHeaderText(written.view(), MimeHeader::kTerminator, 65001, nullptr, log);
    memory.check(size);
    // What is written has as many fields, and none of them ends the header. Beyond ASCII a charset
    // may make line ends of what were none.
    const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
      return (c >= ' ' && c <= '~') || c == '\r' || c == '\n';
    });
    KELDANE_CHECK(!isPlain || again.getNumFields() == header.getNumFields());
    for (int i = 0; i < header.getNumFields(); ++i) {
      KELDANE_CHECK(header.fieldAt(i)->value().view().find('\n') == std::string_view::npos);
    }
  }
  return 0;
}

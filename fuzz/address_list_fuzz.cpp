// An address field, as a list and as a single sender.
#include <cstdint>
#include <string_view>

#include "fuzz/check.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/headers/email_address.h"

namespace {

bool isWord(std::string_view text) {
  for (const char c : text) {
    const bool isLetter =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!isLetter && c != '.' && c != '-') return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ExtPtrArray<_tnEmailAddress> list;
  _tnEmailAddress::parseAndLoadList(text, list, 0, log);
  _tnEmailAddress single;
  single.loadSingleEmailAddr(text, 0, log);
  std::string shown;
  single.emitSelfAsMimeField(shown);
  for (int i = 0; i < list.getSize(); ++i) {
    const _tnEmailAddress& entry = *list.elementAt(i);
    // A byte order mark that two pieces make together is left out, and then nothing may be left.
    if (entry.name().isEmpty() && entry.address().isEmpty()) {
      KELDANE_CHECK(text.find('\xEF') != std::string_view::npos);
      continue;
    }
    const std::string_view name = entry.name().utf8View();
    const std::string_view address = entry.address().utf8View();
    const std::size_t at = address.find('@');
    const bool isOrdinary = at != std::string_view::npos && isWord(name) &&
                            !address.substr(0, at).empty() && isWord(address.substr(0, at)) &&
                            !address.substr(at + 1).empty() && isWord(address.substr(at + 1));
    if (!isOrdinary) continue;
    // What we show of an ordinary entry can be read again.
    shown.clear();
    entry.emitSelfAsMimeField(shown);
    _tnEmailAddress again;
    KELDANE_CHECK(again.loadSingleEmailAddr(shown, 0, log));
    KELDANE_CHECK(again.address().utf8View() == entry.address().utf8View());
  }
  return 0;
}

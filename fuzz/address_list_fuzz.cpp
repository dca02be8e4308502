// An address field, as a list and as a single sender.
#include <cstdint>
#include <string_view>

#include "mime/email_address.h"
#include "mime/ext_ptr_array.h"
#include "mime/log_base.h"
#include "mime/string_buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ExtPtrArray<_tnEmailAddress> list;
  _tnEmailAddress::parseAndLoadList(text, list, 0, log);
  _tnEmailAddress single;
  single.loadSingleEmailAddr(text, 0, log);
  StringBuffer shown;
  single.emitSelfAsMimeField(shown);
  for (int i = 0; i < list.getSize(); ++i) list.elementAt(i)->emitSelfAsMimeField(shown);
  // What we show can be read again.
  list.removeAllObjects();
  _tnEmailAddress::parseAndLoadList(shown.view(), list, 0, log);
  return 0;
}

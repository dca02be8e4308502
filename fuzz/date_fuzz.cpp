// A date as it stands in a header.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "mime/buffers/log_base.h"
#include "mime/buffers/tarnell_sys_time.h"
#include "mime/headers/date_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  TarnellSysTime time;
  time.getCurrentGmt();
  _tnDateParser::parseRFC822Date({reinterpret_cast<const char*>(data), size}, time, log);
  checkFixSystemTime(time);
  // What comes out is always a moment that exists.
  TarnellSysTime again;
  again.fromUnixTime(time.toUnixTime());
  if (time.month < 1 || time.month > 12 || again.day < 1 || again.day > 31) std::abort();
  time.toLocalSysTime();
  time.toGmtSysTime();
  return 0;
}

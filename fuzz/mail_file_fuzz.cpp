// A file of mail as a client leaves it: cut at its separator lines, freed of the client's
// additions.
#include <cstdint>
#include <string>
#include <string_view>

#include "archive/source_origin.h"
#include "base/text.h"
#include "fuzz/check.h"
#include "fuzz/input_file.h"
#include "ingest/reading/mbox_reader.h"
#include "ingest/reading/natural_date.h"
#include "ingest/reading/strip_plist.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane;
  static InputFile file;
  const std::string path = file.hold(data, size);
  MboxReader reader(path, ~std::uint64_t{0});
  const Result<bool> opened = reader.open();
  KELDANE_CHECK(opened);
  std::uint64_t last = 0;
  std::size_t pieces = 0;
  while (*opened) {
    auto piece = reader.next();
    if (!piece) break;
    KELDANE_CHECK(piece->offsetBytes < size && (pieces == 0 || piece->offsetBytes > last));
    last = piece->offsetBytes;
    ++pieces;
    std::string text = piece->bytes;
    const SourceOrigin origin = takeText(text, encodingOf(text));
    KELDANE_CHECK(isValidUtf8(text) && restoredBytes(text, origin) == piece->bytes);
    MessageTags tags;
    std::string scratch;
    const std::string_view stripped = strippedMessage(text, scratch, tags);
    KELDANE_CHECK(stripped.find('\r') == std::string_view::npos);
  }
  KELDANE_CHECK(reader.failure().empty());

  const std::string_view text(reinterpret_cast<const char*>(data), size);
  MessageTags tags;
  findTags(text, tags);
  (void)parseNaturalDate(text.substr(0, text.find('\n')), 1700000000);
  return 0;
}

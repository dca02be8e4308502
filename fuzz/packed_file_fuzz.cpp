// A packed file of any kind, gone through to its end: no entry names a way out, limits hold.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "fuzz/input_file.h"
#include "ingest/reading/packed_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane;
  static InputFile file;
  constexpr PackedLimits kLimits{.entries = 100, .depth = 3, .ratio = 100, .freeBytes = 1U << 20U};
  PackedFile packed(file.hold(data, size), kLimits);
  std::uint64_t unpacked = 0;
  std::size_t entries = 0;
  const auto checkName = [](const std::string& name) {
    KELDANE_CHECK(!name.empty() && name.front() != '/');
    KELDANE_CHECK(("/" + name + "/").find("/../") == std::string::npos);
    for (const char c : name) KELDANE_CHECK(static_cast<unsigned char>(c) >= ' ');
  };
  const Result<void> done = packed.read(
      {.visit =
           [&](const PackedEntry& entry) {
             checkName(entry.name);
             KELDANE_CHECK(entry.beginning.size() <= kPackedBeginningBytes);
             // Every third one is left in its beginning.
             if (++entries % 3 == 0) return true;
             std::string_view piece;
             for (Result<bool> more = entry.read(piece); more && *more; more = entry.read(piece)) {
               KELDANE_CHECK(!piece.empty());
               unpacked += piece.size();
             }
             return true;
           },
       .skipped = [&](const std::string& name, const std::string&) { checkName(name); }});
  if (!done) KELDANE_CHECK(!done.error().empty());
  KELDANE_CHECK(entries <= kLimits.entries);
  KELDANE_CHECK(unpacked <= (1U << 20U) + 2 * kPackedBeginningBytes || unpacked <= 100 * size);
  return 0;
}

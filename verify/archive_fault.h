#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace keldane {

enum class FaultKind {
  row,          ///< the message's row of `email` is missing
  source,       ///< its source is missing, or others than the bytes that were read
  column,       ///< a column of its row differs from what its source gives
  attachment,   ///< a row of `attachments` is missing, changed, or not its own
  fingerprint,  ///< what is noted of its bytes is missing, or does not fit them
  orphan,       ///< rows of a message that is not there
  ledger,       ///< an archive run left something that the next one is to complete
  index,        ///< the word index
};
inline constexpr std::size_t kFaultKinds = 8;

/// "row", "source", "column", ...
[[nodiscard]] constexpr std::string_view faultName(FaultKind kind) {
  constexpr std::string_view kNames[kFaultKinds] = {"row",         "source", "column", "attachment",
                                                    "fingerprint", "orphan", "ledger", "index"};
  return kNames[static_cast<std::size_t>(kind)];
}

/// Something that is not as it should be.
struct ArchiveFault {
  std::uint32_t id = 0;  ///< of the message; 0: of the archive as a whole
  FaultKind kind = FaultKind::source;
  std::string what;
  bool isMended = false;
};

}  // namespace keldane

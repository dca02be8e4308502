#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "archive/server_session.h"
#include "base/result.h"
#include "output/export_frame.h"

namespace keldane {

/// How a source that leaves the archive compares with what lay in its file.
enum class SourceState {
  exact,      ///< the same bytes, proved by their digest
  asText,     ///< its text; nothing is known of the bytes, or they are others now
  assembled,  ///< put together at archiving: its file held only a part of the message
  rebuilt,    ///< the archive has none: made anew from the message's fields
};

struct CarriedSource {
  std::string bytes;
  SourceState state = SourceState::exact;
};

/// Gives back the sources of messages as they lay in their files. Of a file that holds a message
/// between a count line and a property list it is the message. One thread at a time; memory is a
/// few times the largest source.
class ExactSources {
 public:
  explicit ExactSources(const OutputContext& context) : context_(context) {}

  /// nullopt: there is no such message. Fails with the server's words.
  [[nodiscard]] Result<std::optional<CarriedSource>> read(std::uint32_t id);

 private:
  [[nodiscard]] Result<std::unique_ptr<ResultRows>> queryOrigin(std::uint32_t id);

  const OutputContext& context_;
  std::optional<bool> hasFingerprints_;
};

/// Counts a source in the report. With `requireExact` one that is not exact is a failure that names
/// the message.
[[nodiscard]] Result<void> countSource(std::uint32_t id, SourceState state, bool requireExact,
                                       SourceCounts& counts);

}  // namespace keldane

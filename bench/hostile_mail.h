#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace keldane::bench {

/// A message made to cost a reader more than its size.
struct HostileMail {
  const char* name;
  /// A text of about `bytes` bytes, or less where a limit of the reader is what is aimed at.
  std::string (*make)(std::size_t bytes);
};

/// Each is to be made at several sizes, so that growth beyond linear shows as a growing time a MB.
[[nodiscard]] const std::vector<HostileMail>& hostileMail();

}  // namespace keldane::bench

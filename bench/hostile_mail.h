#pragma once

#include <string>
#include <vector>

namespace keldane::bench {

struct HostileMail {
  std::string name;
  std::string text;
};

/// Messages made to cost a reader more than their size: each is made at twice the size in turn, so
/// that growth beyond linear shows as a growing time a MB.
[[nodiscard]] std::vector<HostileMail> hostileMail();

}  // namespace keldane::bench

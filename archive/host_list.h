#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace keldane {

/// One host of a connection.
struct HostPlace {
  std::string host;
  unsigned port = 0;  ///< 0: the client's default

  bool operator==(const HostPlace&) const = default;
};

/// The hosts of "a,b:3307,[::1]:3308", in this order; `port` is that of hosts which name none. An
/// address of IPv6 may stand without brackets when no port follows it. An empty text is one host
/// without a name. Fails at a host that is empty and at a port that is none.
[[nodiscard]] Result<std::vector<HostPlace>> parseHosts(std::string_view text, unsigned port);

/// As it is typed: "b:3307", "[::1]:3308".
[[nodiscard]] std::string hostText(const HostPlace& place);

/// Whether the host is this machine itself, by its name or its address.
[[nodiscard]] bool isThisMachine(std::string_view host);

}  // namespace keldane

#include "archive/host_list.h"

#include <charconv>
#include <utility>

#include <arpa/inet.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr unsigned kGreatestPort = 65535;

Result<unsigned> parsePort(std::string_view digits, std::string_view host) {
  unsigned port = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, port);
  if (error == std::errc() && stop == end && port > 0 && port <= kGreatestPort) return port;
  return Failure{"\"" + printable(host) +
                 "\" cannot be a host: behind its colon stands a port, a number up to 65535"};
}

Result<HostPlace> parseHost(std::string_view text, unsigned port) {
  HostPlace place{std::string(text), port};
  std::string_view digits;
  const std::size_t colon = text.rfind(':');
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    const std::string_view rest =
        end == std::string_view::npos ? std::string_view("-") : text.substr(end + 1);
    if (!rest.empty() && !rest.starts_with(':')) {
      return Failure{"\"" + printable(text) +
                     "\" cannot be a host: an address in brackets is "
                     "followed by nothing, or by a colon and a port"};
    }
    place.host = text.substr(1, end - 1);
    if (rest.empty()) return place;
    digits = rest.substr(1);
  } else if (colon == std::string_view::npos || text.find(':') != colon) {
    return place;  // a name, or an address of IPv6
  } else {
    place.host = text.substr(0, colon);
    digits = text.substr(colon + 1);
  }
  if (place.host.empty()) return Failure{"\"" + printable(text) + "\" names no host"};
  const Result<unsigned> found = parsePort(digits, text);
  if (!found) return Failure{found.error()};
  place.port = *found;
  return place;
}

}  // namespace

Result<std::vector<HostPlace>> parseHosts(std::string_view text, unsigned port) {
  std::vector<HostPlace> places;
  const std::vector<std::string> names = split(text, ",");
  for (const std::string& name : names) {
    const std::string_view trimmed = trimWhitespace(name);
    if (trimmed.empty() && names.size() > 1) {
      return Failure{"\"" + printable(text) + "\" names a host that is empty"};
    }
    Result<HostPlace> place = parseHost(trimmed, port);
    if (!place) return Failure{place.error()};
    places.push_back(std::move(*place));
  }
  if (places.empty()) places.push_back({"", port});
  return places;
}

std::string hostText(const HostPlace& place) {
  if (place.port == 0) return place.host;
  const bool isAddress = place.host.find(':') != std::string::npos;
  return (isAddress ? "[" + place.host + "]" : place.host) + ":" + std::to_string(place.port);
}

bool isThisMachine(std::string_view host) {
  in_addr address = {};
  constexpr in_addr_t kFirstByte = 0xFF000000;
  constexpr in_addr_t kLoopback = 0x7F000000;
  if (host.empty() || host == "localhost" || host == "::1") return true;
  return ::inet_pton(AF_INET, std::string(host).c_str(), &address) == 1 &&
         (ntohl(address.s_addr) & kFirstByte) == kLoopback;
}

}  // namespace keldane

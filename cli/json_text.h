#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace keldane {

/// One line of JSON. Bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] inline std::string jsonLine(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace keldane

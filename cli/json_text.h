#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace keldane {

/// A value as one line of JSON. Bytes that are not UTF-8 become U+FFFD. When standard output is a
/// terminal every character beyond ASCII is escaped, because JSON itself leaves the controls from
/// U+007F on as they are.
[[nodiscard]] std::string jsonLine(const nlohmann::ordered_json& value);
/// The server's "YYYY-MM-DD HH:MM:SS" as ISO 8601 writes it; any other text as it stands.
[[nodiscard]] std::string isoDate(std::string date);
/// Prints that line.
void printJson(const nlohmann::ordered_json& value);

}  // namespace keldane

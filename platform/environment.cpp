#include "platform/environment.h"

#include <array>
#include <ctime>

namespace keldane {

std::string Environment::executablePath() const {
  const std::vector<std::string> words = arguments();
  return words.empty() ? std::string() : words.front();
}

std::string localDateTime(std::int64_t secondsSince1970) {
  const auto moment = static_cast<std::time_t>(secondsSince1970);
  std::tm parts{};
  std::array<char, 64> text{};
  if (::localtime_r(&moment, &parts) == nullptr) return {};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
  return {text.data(), length};
}

}  // namespace keldane

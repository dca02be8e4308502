#include "cli/command_line.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

std::string refusal(const std::string& text, unsigned least, unsigned most) {
  return fmt::format("\"{}\" is not a number from {} to {}", printable(text), least, most);
}

std::optional<unsigned> readNumber(const std::string& text, unsigned least, unsigned most) {
  constexpr std::size_t kMostDigits = 10;
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (!digits || text.size() > kMostDigits) return std::nullopt;
  const unsigned long long number = std::stoull(text);
  if (number < least || number > most) return std::nullopt;
  return static_cast<unsigned>(number);
}

template <typename Number>
ValueReader readerInto(Number& number, unsigned least, unsigned most) {
  return [&number, least, most](const std::string& text) -> std::string {
    const std::optional<unsigned> read = readNumber(text, least, most);
    if (!read) return refusal(text, least, most);
    number = *read;
    return {};
  };
}

}  // namespace

bool isArgument(const CommandOption& option) { return !option.names.starts_with('-'); }

bool isFlag(const CommandOption& option) {
  return std::holds_alternative<bool*>(option.target) && !isArgument(option);
}

bool isList(const CommandOption& option) {
  const bool oneOnly = option.most == 1;
  return !oneOnly && (std::holds_alternative<std::vector<std::string>*>(option.target) ||
                      std::holds_alternative<std::vector<GivenOption>*>(option.target));
}

std::vector<std::string> optionNames(const CommandOption& option) {
  return split(option.names, ",");
}

std::string valueName(const CommandOption& option) {
  if (isArgument(option)) return option.names;
  if (!option.value.empty()) return option.value;
  return option.choices.empty() ? "TEXT" : join(option.choices, "|");
}

std::vector<std::string> wordsOffered(const CommandOption& option) {
  if (!option.choices.empty()) return option.choices;
  if (isFlag(option) || option.value.find('|') == std::string::npos) return {};
  std::vector<std::string> words = split(option.value, "|");
  words.erase(std::remove_if(words.begin(), words.end(),
                             [](const std::string& word) { return word < "a" || word > "zz"; }),
              words.end());
  return words;
}

ValueReader numberInto(unsigned& number, unsigned least, unsigned most) {
  return readerInto(number, least, most);
}

ValueReader numberInto(std::optional<unsigned>& number, unsigned least, unsigned most) {
  return readerInto(number, least, most);
}

}  // namespace keldane

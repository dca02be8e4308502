#include "ingest/reading/mail_marks.h"

#include <algorithm>
#include <vector>

#include "base/hex.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr unsigned kExpunged = 0x0008;

bool isNamed(std::string_view name, std::string_view wanted) {
  return name.size() == wanted.size() && compareNoCase(name, wanted) == 0;
}

/// What one mail program writes in front of a message that it puts into its folder.
bool isInFront(std::string_view name) {
  return isNamed(name, "X-Account-Key") || isNamed(name, "X-UIDL") ||
         isNamed(name, "X-Mozilla-Status") || isNamed(name, "X-Mozilla-Status2") ||
         isNamed(name, "X-Mozilla-Keys");
}

/// The labels between commas; one that holds a comma itself stands between quotes.
std::vector<std::string> labelsOf(std::string_view text) {
  std::vector<std::string> labels(1);
  bool isQuoted = false;
  for (const char c : text) {
    if (c == '"') {
      isQuoted = !isQuoted;
    } else if (c == ',' && !isQuoted) {
      labels.emplace_back();
    } else {
      labels.back() += c;
    }
  }
  return labels;
}

/// Letters alone, one a flag: a sender's "Status: Delivered" is none.
bool flagsDeleted(std::string_view value) {
  return value.find_first_not_of("ADFNORTU") == std::string_view::npos &&
         value.find('D') != std::string_view::npos;
}

unsigned hexNumber(std::string_view text) {
  unsigned number = 0;
  for (const char digit : text.substr(0, 8)) {
    if (hexValue(digit) < 0) break;
    number = number << 4U | static_cast<unsigned>(hexValue(digit));
  }
  return number;
}

}  // namespace

bool isMarkedDeletedByName(std::string_view path) {
  const std::string_view name = lastPathComponent(path);
  // Where a file system has no colons, a program takes another mark.
  for (const std::string_view mark : {":2,", "!2,", ";2,"}) {
    const std::size_t at = name.rfind(mark);
    if (at != std::string_view::npos) {
      return name.find('T', at + mark.size()) != std::string_view::npos;
    }
  }
  return false;
}

bool isMarkedDeletedInMbox(std::string_view message) {
  bool isAtFront = true;
  bool status = false;
  bool xStatus = false;
  while (!message.empty()) {
    const std::size_t end = std::min(message.find_first_of("\r\n"), message.size());
    const std::string_view line = message.substr(0, end);
    if (line.empty()) break;
    message.remove_prefix(end);
    message.remove_prefix(message.starts_with("\r\n") ? 2
                                                      : std::min<std::size_t>(1, message.size()));
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || line.starts_with(' ') || line.starts_with('\t'))
      continue;
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = trimWhitespace(line.substr(colon + 1));
    isAtFront = isAtFront && isInFront(name);
    if (isAtFront && isNamed(name, "X-Mozilla-Status") && (hexNumber(value) & kExpunged) != 0) {
      return true;
    }
    if (isNamed(name, "Status")) status = flagsDeleted(value);
    if (isNamed(name, "X-Status")) xStatus = flagsDeleted(value);
  }
  return status || xStatus;
}

std::string keywordsOfLabels(std::string_view labels) {
  std::vector<std::string> words;
  std::size_t units = 0;
  for (const std::string& label : labelsOf(labels)) {
    std::string word(trimWhitespace(label));
    for (char& c : word) {
      if (static_cast<unsigned char>(c) <= ' ') c = '_';
    }
    if (word.empty() || std::find(words.begin(), words.end(), word) != words.end()) continue;
    const std::size_t more = utf16Length(word) + (words.empty() ? 0 : 1);
    if (units + more > kMostLabelUnits) continue;
    units += more;
    words.push_back(std::move(word));
  }
  return join(words, " ");
}

}  // namespace keldane

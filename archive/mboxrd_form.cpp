#include "archive/mboxrd_form.h"

#include <algorithm>
#include <optional>

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";
constexpr std::string_view kMark = " remote from keldane-export";
constexpr std::string_view kOwn = ".own";
constexpr std::string_view kUnended = ".unended";

/// Takes a text off the end, if it is there.
bool takeEnd(std::string_view& text, std::string_view end) {
  if (!text.ends_with(end)) return false;
  text.remove_suffix(end.size());
  return true;
}

/// What a separator line says of its source.
struct Separator {
  std::string_view line;  ///< without the mark
  bool hasCr = false;
  bool isOwn = false;
  bool isUnended = false;
};

std::optional<Separator> separatorOf(std::string_view line) {
  Separator found;
  found.hasCr = takeEnd(line, "\r");
  found.isUnended = takeEnd(line, kUnended);
  found.isOwn = takeEnd(line, kOwn);
  if (!takeEnd(line, kMark)) return std::nullopt;
  found.line = line;
  return found;
}

/// Goes through the lines that begin with any number of ">" and "From ".
template <typename Take>
void forEachFromLine(std::string_view text, const Take& take) {
  std::size_t line = 0;
  while (line < text.size()) {
    const std::size_t word = text.find_first_not_of('>', line);
    if (word == std::string_view::npos) return;
    if (text.substr(word).starts_with(kFrom)) take(line, word > line);
    const std::size_t end = text.find('\n', line);
    if (end == std::string_view::npos) return;
    line = end + 1;
  }
}

void appendQuoted(std::string& out, std::string_view text) {
  std::size_t done = 0;
  forEachFromLine(text, [&](std::size_t line, bool /*isQuoted*/) {
    out.append(text.substr(done, line - done)) += '>';
    done = line;
  });
  out.append(text.substr(done));
}

void appendUnquoted(std::string& out, std::string_view text) {
  std::size_t done = 0;
  forEachFromLine(text, [&](std::size_t line, bool isQuoted) {
    out.append(text.substr(done, line - done));
    done = line + (isQuoted ? 1 : 0);
  });
  out.append(text.substr(done));
}

}  // namespace

std::string mboxrdMessage(std::string_view source, std::string_view date) {
  const bool isOwn = source.starts_with(kFrom);
  const bool isUnended = !source.ends_with('\n');
  const std::size_t end = isOwn ? std::min(source.find('\n'), source.size()) : 0;
  std::string_view line = source.substr(0, end);
  const bool hasCr = takeEnd(line, "\r");
  std::string message;
  message.reserve(source.size() + 128);
  if (isOwn) {
    message.append(line).append(kMark).append(kOwn);
  } else {
    message.append(kFrom).append("keldane-export  ").append(date).append(kMark);
  }
  if (isUnended) message += kUnended;
  message += hasCr ? "\r\n" : "\n";
  const std::string_view rest = source.substr(std::min(end + (isOwn ? 1 : 0), source.size()));
  appendQuoted(message, rest);
  if (isUnended && (!isOwn || end < source.size())) message += '\n';
  return message += '\n';
}

bool isMboxrdSeparator(std::string_view line) { return separatorOf(line).has_value(); }

bool restoreMboxrd(std::string& message, bool hasEmptyLine) {
  std::string_view body = message;
  if (hasEmptyLine) static_cast<void>(takeEnd(body, "\n"));
  const std::size_t end = std::min(body.find('\n'), body.size());
  const std::optional<Separator> separator = separatorOf(body.substr(0, end));
  if (!separator) return false;
  body.remove_prefix(std::min(end + 1, body.size()));
  std::string source;
  source.reserve(message.size());
  if (separator->isOwn) {
    if (!separator->line.starts_with(kFrom)) source += kFrom;
    source.append(separator->line).append(separator->hasCr ? "\r\n" : "\n");
  }
  appendUnquoted(source, body);
  if (separator->isUnended && source.ends_with('\n')) source.pop_back();
  message = std::move(source);
  return true;
}

}  // namespace keldane

#include "ingest/mbox_reader.h"

#include <string_view>
#include <utility>

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";

/// Why the file cannot be read; empty when it seems that it can. Opening a pipe would wait for its
/// writer, so only regular files are tried.
std::string obstacle(const std::string& path, bool& isEmpty) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return path + ": " + std::generic_category().message(errno);
  }
  isEmpty = status.st_size == 0;
  return S_ISREG(status.st_mode) ? std::string() : path + ": not a regular file";
}

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

/// The separator, judged by the file's two first pieces, each of which ends in "From ".
std::string separatorOf(std::string_view first, std::string_view second) {
  const auto isThere = [&](std::string_view what) {
    return holds(first, what) || holds(second, what);
  };
  for (const std::string_view separator : {"\r\nFrom ", "\rFrom ", "\nFrom "}) {
    if (isThere(separator)) return std::string(separator);
  }
  // The word may have stood in the middle of a line; then the other line ends tell.
  return isThere("\r") && !isThere("\n") ? "\rFrom " : "\nFrom ";
}

std::string firstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

}  // namespace

Result<bool> MboxReader::open() {
  bool isEmpty = false;
  if (const std::string reason = obstacle(path_, isEmpty); !reason.empty()) return Failure{reason};
  if (isEmpty) return false;
  mime::TnoStream probe;
  probe.setSourceFile(path_);
  const std::optional<std::string> first = probe.ReadUntilMatch(kFrom);
  if (!first && !probe.EndOfStream())
    return Failure{path_ + ": " + firstLine(probe.LastErrorText())};
  std::optional<std::string> second;
  if (!probe.EndOfStream()) {
    second = probe.ReadUntilMatch(kFrom);
    if (!second) return false;
  }
  separator_ = separatorOf(first.value_or(""), second.value_or(""));
  stream_.setSourceFile(path_);
  return true;
}

std::optional<MessagePiece> MboxReader::next() {
  if (stream_.EndOfStream()) return std::nullopt;
  const std::uint64_t begin = stream_.offsetBytes();
  std::optional<std::string> text = stream_.ReadUntilMatch(separator_);
  if (!text) {
    if (!stream_.EndOfStream()) failure_ = path_ + ": " + firstLine(stream_.LastErrorText());
    return std::nullopt;
  }
  if (text->ends_with(separator_)) text->resize(text->size() - separator_.size());
  normalizeLineEnds(*text);
  // The separator, all but its line, was handed out with the piece before.
  return MessagePiece{std::move(*text), begin < kFrom.size() ? 0 : begin - kFrom.size()};
}

}  // namespace keldane

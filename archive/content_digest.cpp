#include "archive/content_digest.h"

#include "base/text.h"

namespace keldane {
namespace {

/// Lines are gathered up to this length, because one call for each would be slow.
constexpr std::size_t kBufferBytes = std::size_t{16} * 1024;

constexpr std::string_view kBlanks = " \t\v\f";

bool isText(std::string_view contentType) {
  return contentType.empty() || contentType.starts_with("text/") ||
         contentType.starts_with("message/");
}

/// Without the marks that a mailbox file puts before a line that looks like its separator.
std::string_view withoutFromMarks(std::string_view line) {
  const std::size_t first = line.find_first_not_of('>');
  if (first == 0 || first == std::string_view::npos) return line;
  return line.substr(first).starts_with("From ") ? line.substr(first) : line;
}

/// White space of any length is one blank: a header line is folded anew on its way.
std::string collapsed(std::string_view text) {
  std::string out;
  bool gap = false;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0') {
      gap = true;
      continue;
    }
    if (gap && !out.empty()) out += ' ';
    gap = false;
    out += c;
  }
  return out;
}

}  // namespace

void ContentDigest::addPart(const mime::PartView& part) {
  if (isText(part.contentType)) {
    addText(part.body);
    if (!anyText_ && part.name.empty()) return;  // an empty text is as good as none
  } else {
    part_.add(part.body);
  }
  message_.add(sha256(part.name));
  message_.add(part_.finish());
}

std::string ContentDigest::finish(std::string_view subject) {
  std::string text = collapsed(subject);
  repairUtf8(text);
  message_.add(sha256(text));
  return message_.finish();
}

void ContentDigest::addText(std::string_view text) {
  anyText_ = false;
  lineEnds_ = 0;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\r\n");
    if (end == std::string_view::npos) {
      addLine(text);
      break;
    }
    addLine(text.substr(0, end));
    ++lineEnds_;
    text.remove_prefix(end + (text.substr(end).starts_with("\r\n") ? 2 : 1));
  }
  flush();
}

void ContentDigest::flush() {
  part_.add(buffer_);
  buffer_.clear();
}

void ContentDigest::write(std::string_view text) {
  if (buffer_.size() + text.size() > kBufferBytes) flush();
  // A line can be as long as its message, and is not gathered then.
  if (text.size() > kBufferBytes) {
    part_.add(text);
  } else {
    buffer_.append(text);
  }
}

void ContentDigest::addLine(std::string_view line) {
  const std::size_t last = line.find_last_not_of(kBlanks);
  if (last == std::string_view::npos) return;
  line = withoutFromMarks(line.substr(0, last + 1));
  for (; anyText_ && lineEnds_ != 0; --lineEnds_) write("\n");
  lineEnds_ = 0;
  anyText_ = true;
  // A NUL is lost where a source is kept as text.
  for (std::size_t nul = line.find('\0'); nul != std::string_view::npos; nul = line.find('\0')) {
    write(line.substr(0, nul));
    line.remove_prefix(nul + 1);
  }
  write(line);
}

}  // namespace keldane

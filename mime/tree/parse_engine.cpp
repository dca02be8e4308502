#include "mime/tree/parse_engine.h"

#include <algorithm>

#include "mime/buffers/byte_search.h"

namespace keldane::mime {

bool ParseEngine::setString(std::string_view text) {
  position_ = 0;
  return text_.setString(text);
}

bool ParseEngine::captureToNextChar(char ch, StringBuffer& dest) {
  return captureToNext4({&ch, 1}, dest);
}

bool ParseEngine::captureToNext4(std::string_view set, StringBuffer& dest) {
  const std::string_view left = rest();
  const std::size_t found = left.find_first_of(set);
  const std::string_view captured = left.substr(0, found);
  dest.append(captured);
  position_ += static_cast<std::uint32_t>(captured.size());
  return found != std::string_view::npos;
}

bool ParseEngine::captureToNextUnquotedChar(char ch, StringBuffer& dest) {
  const std::string_view left = rest();
  bool quoted = false;
  std::size_t i = 0;
  for (; i < left.size(); ++i) {
    if (left[i] == ch && !quoted) break;
    if (left[i] == '"') quoted = !quoted;
  }
  dest.append(left.substr(0, i));
  position_ += static_cast<std::uint32_t>(i);
  return i < left.size();
}

void ParseEngine::skipChars(std::string_view set) {
  const std::size_t stop = rest().find_first_not_of(set);
  position_ = stop == std::string_view::npos ? text_.getSize()
                                             : position_ + static_cast<std::uint32_t>(stop);
}

char ParseEngine::consumeOneChar() { return atEnd() ? '\0' : text_.charAt(position_++); }

bool ParseEngine::seek(std::string_view text) {
  const std::size_t at = findBytes(text_.view(), text, position_);
  if (at == std::string_view::npos) return false;
  position_ = static_cast<std::uint32_t>(at);
  return true;
}

void ParseEngine::eliminateChar(char ch) {
  char* const begin = text_.getString_rw();
  char* const end = std::remove(begin + position_, begin + text_.getSize(), ch);
  text_.rollback(static_cast<std::size_t>(end - begin));
  position_ = std::min(position_, text_.getSize());
}

}  // namespace keldane::mime

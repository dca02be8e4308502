#include "query/base64_lines.h"

#include <algorithm>
#include <cstddef>

#include "base/base64.h"

namespace keldane {
namespace {

constexpr std::size_t kLineBytes = 60;

}  // namespace

void encodeBase64Lines(std::string_view bytes, std::string& text) {
  text.reserve(text.size() + (bytes.size() / kLineBytes + 1) * (kLineBytes / 3 * 4 + 1));
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kLineBytes))) {
    const std::string_view line = bytes.substr(0, kLineBytes);
    appendBase64(text, line);
    // A line is full when its last group is, padded or not.
    if (line.size() > kLineBytes - 3) text += '\n';
  }
}

}  // namespace keldane

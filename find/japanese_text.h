#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// Text without a label that was read byte by byte as ISO Latin 1, though it is Shift JIS: read
/// again. Empty when it is no such text: it must decode, and a good part of it must be of the two
/// syllabaries, which no other charset's text turns into.
[[nodiscard]] std::string japaneseText(std::string_view latin1Text);

}  // namespace keldane

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace keldane {

enum class Markup {
  html,      ///< a page as mail has it, however broken
  document,  ///< the XML inside office files: paragraphs and cells part words, runs do not
};

/// Longest text that is made of one page, in bytes. Nobody reads what comes behind it.
inline constexpr std::size_t kMaxMarkupTextBytes = std::size_t{16} << 20U;

/// What a person reads of a page of UTF-8: entities decoded; comments, style, script and the like
/// left out; a line end where an element begins a line of its own. An element that is not closed
/// hides nothing but its own kind: script and style up to the end, as a browser does. Linear in the
/// page; keeps no stack, so that no depth hurts. The text has no tag of the page in it, but it may
/// have "<" from an entity: it is text and never to be put into a page.
[[nodiscard]] std::string markupText(std::string_view page, Markup markup = Markup::html,
                                     std::size_t maxBytes = kMaxMarkupTextBytes);

}  // namespace keldane

#pragma once

#include <functional>
#include <string_view>

namespace keldane::mime {

class LogBase;
class MimeMessage2;

/// One leaf of the tree of parts, as it was decoded. Valid during the call that shows it.
struct PartView {
  std::string_view contentType = {};  ///< lower case, empty when the part names none
  std::string_view name = {};
  std::string_view contentId = {};  ///< by which the HTML refers to it; mostly between "<" and ">"
  /// Without its transfer encoding: of an attachment the bytes, of a text of the message UTF-8.
  std::string_view body = {};
  /// The declared charset by its usual name; empty when there is none.
  std::string_view charset = {};
  /// The body as UTF-8 text, of a text attachment too; empty when the part is no text.
  std::string_view text = {};
  int depth = 0;  ///< parts around it, attached messages and the text around a uuencoded file too
  bool isAttachment = false;
};

using PartVisitor = std::function<void(const PartView&)>;

/// A part that holds others, shown ahead of them.
struct PartContainer {
  std::string_view contentType = {};
  std::string_view name = {};
  std::string_view source = {};  ///< of an attached message; empty of any other
  int depth = 0;
};

using ContainerVisitor = std::function<void(const PartContainer&)>;

/// Messages inside messages are opened to this depth; a deeper one is shown as one leaf.
inline constexpr int kMaxMessageNesting = 20;

/// Shows each leaf in the order of the source: also those of attached messages, and each
/// uuencoded file behind the text that it stood in. Uses the tree up, so that no more than one
/// nested message is in memory twice. `enter`, when there is one, is shown what holds them. False:
/// no memory; some leaves have been shown by then. What the visitors throw comes through.
bool walkParts(MimeMessage2& root, const PartVisitor& visit, const ContainerVisitor& enter,
               LogBase& log);

}  // namespace keldane::mime

#pragma once

#include <string_view>

#include "mime/buffers/string_buffer.h"
#include "mime/buffers/xstring.h"

namespace keldane::mime {

/// Brings the odd forms of a single address into the shape that the list grammar reads, with
/// markers in place of what would mislead it, and puts the originals back afterwards.
class AddressForms {
 public:
  /// A view of the prepared text, which is `text` itself when nothing had to be done.
  std::string_view prepare(std::string_view text);
  void restore(XString& piece) const;

 private:
  void maskQuotedName();
  void keepBracketedAddress();
  void keepQuotedLocalPart();
  void requoteName();
  void take(StringBuffer& changed) {
    owned_.takeSb(changed);
    text_ = owned_.view();
    changed_ = true;
  }

  StringBuffer owned_;
  std::string_view text_;
  bool changed_ = false;
  StringBuffer address_;
  StringBuffer localPart_;
};

}  // namespace keldane::mime

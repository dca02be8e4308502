#include "output/utf16_piece.h"

#include "output/text_encodings.h"

namespace keldane {

void Utf16Piece::add(std::string_view text) {
  inPieces(text, [this](std::string_view piece) {
    if (text_.size() + piece.size() > kPieceBytes) flush();
    text_ += piece;
  });
}

void Utf16Piece::flush() {
  if (text_.empty()) return;
  file_.write(isBegun_ ? utf16(text_) : utf16WithMark(text_));
  isBegun_ = true;
  text_.clear();
}

}  // namespace keldane

#pragma once

#include <string>
#include <string_view>

namespace keldane::mime {

class DataBuffer;

/// Replaces `out` by a body as text: line ends as CR LF, no BOM in front. `nulsToBlanks`: NUL bytes
/// become blanks.
void bodyToText(std::string_view body, bool nulsToBlanks, std::string& out);
/// The same behind what `out` holds; BOM and NUL bytes at the ends stay.
void appendBodyAsText(std::string_view body, bool nulsToBlanks, std::string& out);
/// Both of a body that goes as its text is made: body and text are never both in memory as a whole.
void takeBodyAsText(DataBuffer& body, bool nulsToBlanks, std::string& out);
void appendTakenBody(DataBuffer& body, bool nulsToBlanks, std::string& out);

}  // namespace keldane::mime

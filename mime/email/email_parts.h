#pragma once

#include <string>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class LogBase;
class MimeHeader;
class MimeMessage2;
class StringBuffer;

// What the files of `Email2` share among themselves.

/// Replaces `out` by a boundary made from `seed`: the same for the same content.
void makeBoundary(std::string_view seed, StringBuffer& out);

/// Fills `header`, which is empty, with the header of the entity as it reads when it is written as
/// text and read back. The second form does the same, field by field where that is safe, and is
/// the one to use; it uses the entity's header up. The first is there to hold it against.
void loadHeaderByText(const MimeMessage2& mime, MimeHeader& header, LogBase& log);
void takeHeaderByField(MimeMessage2& mime, MimeHeader& header, LogBase& log);

/// Replaces `out` by a body as text: line ends as CR LF, no BOM in front. `nulsToBlanks`: NUL bytes
/// become blanks.
void bodyToText(std::string_view body, bool nulsToBlanks, std::string& out);
/// The same behind what `out` holds; BOM and NUL bytes at the ends stay.
void appendBodyAsText(std::string_view body, bool nulsToBlanks, std::string& out);
/// Both of a body that goes as its text is made: body and text are never both in memory as a whole.
void takeBodyAsText(DataBuffer& body, bool nulsToBlanks, std::string& out);
void appendTakenBody(DataBuffer& body, bool nulsToBlanks, std::string& out);

/// Replaces `out` by the bytes of an attachment as text, in whichever charset they make sense.
void readAttachmentText(const DataBuffer& body, std::string_view charset, std::string& out,
                        LogBase& log);

/// ASCII case is ignored.
[[nodiscard]] bool endsWithNoCase(std::string_view text, std::string_view end);

/// What follows the last dot; empty without a dot.
[[nodiscard]] std::string_view fileExtension(std::string_view filename);

}  // namespace keldane::mime

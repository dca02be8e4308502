#pragma once

namespace keldane::mime {

class LogBase;
class MimeHeader;
class MimeMessage2;

/// Fills `header`, which is empty, with the header of the entity as it reads when it is written as
/// text and read back. The second form does the same, field by field where that is safe, and is
/// the one to use; it uses the entity's header up. The first is there to hold it against.
void loadHeaderByText(const MimeMessage2& mime, MimeHeader& header, LogBase& log);
void takeHeaderByField(MimeMessage2& mime, MimeHeader& header, LogBase& log);

}  // namespace keldane::mime

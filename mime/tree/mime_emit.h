#pragma once

namespace keldane::mime {

class DataBuffer;
class LogBase;
class MimeMessage2;
class StringBuffer;

// From tree to text, appended to `out`. `noHeader`: the content alone.
bool getMimeTextDb(const MimeMessage2& root, DataBuffer& out, bool noHeader, LogBase& log);
bool getMimeTextSb(const MimeMessage2& root, StringBuffer& out, bool noHeader, LogBase& log);
/// Replaces `out` by the message with its raw texts in UTF-8, whatever charsets they declare: a
/// text to be loaded again with `isUtf8`.
bool getMimeTextUtf8(const MimeMessage2& root, StringBuffer& out, LogBase& log);

}  // namespace keldane::mime

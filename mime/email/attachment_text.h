#pragma once

#include <string>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class LogBase;

/// Replaces `out` by the bytes of an attachment as text, in whichever charset they make sense.
void readAttachmentText(const DataBuffer& body, std::string_view charset, std::string& out,
                        LogBase& log);

}  // namespace keldane::mime

#pragma once

#include <string_view>

#include "mime/buffers/ext_ptr_array.h"
#include "mime/headers/email_address.h"

namespace keldane::mime {

class LogBase;

/// The list grammar. Names come out as they stand, encoded words and all. Reading ends, true, as
/// soon as `list` holds `enough` entries; at `limits::kMaxAddresses` the rest becomes one more.
/// Other results as `_tnEmailAddress::parseAndLoadList`.
bool parseRawAddressList(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                         int enough, LogBase& log);

}  // namespace keldane::mime

#pragma once

#include <string>
#include <string_view>

#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"
#include "mime/buffers/xstring.h"

namespace keldane::mime {

class LogBase;

/// One sender or recipient: a display name and a bare address, either of which may be empty. Not
/// for address fields as a whole: those are lists, read by `parseAndLoadList`.
class _tnEmailAddress : public TarnellObject {
 public:
  /// A list nested deeper in encoded words than this is not read further.
  static constexpr int kMaxDepth = 32;

  [[nodiscard]] const XString& name() const { return name_; }
  [[nodiscard]] const XString& address() const { return address_; }
  [[nodiscard]] XString& name_rw() { return name_; }
  [[nodiscard]] XString& address_rw() { return address_; }

  /// Reads the first entry of a text, which may be of an odder form than a list allows: an `@` in
  /// the name, a comma in an unquoted name, a quoted local part. False, and nothing changed, when
  /// there is no entry in it.
  bool loadSingleEmailAddr(std::string_view text, int depth, LogBase& log);
  /// Appends the entries of an address field to `list`, their names decoded. False beyond
  /// `kMaxDepth` or when memory runs out; what was read until then stays. Beyond
  /// `limits::kMaxAddresses` the rest of the text is the address of one more entry.
  /// Time is linear in the length of the text.
  static bool parseAndLoadList(std::string_view text, ExtPtrArray<_tnEmailAddress>& list, int depth,
                               LogBase& log);
  /// Appends the entry as the application shows it: the address alone, or the name, in quotes when
  /// it holds more than plain letters, and the address in angle brackets.
  void emitSelfAsMimeField(std::string& out) const;

 private:
  friend class AddressListParser;

  enum class Reading { kDone, kNothingThere, kGaveUp };

  Reading readFirstEntry(std::string_view text, int depth, LogBase& log);

  XString name_;
  XString address_;
};

}  // namespace keldane::mime

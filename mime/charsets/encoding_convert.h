#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/error_policy.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// One conversion job between two code pages, made on the stack. All results are appended to `out`,
/// in which the input must not lie.
///
/// A true result means that the conversion could be carried out, not that all bytes were good: a
/// byte that the source page does not define, or that the target cannot hold, goes to the error
/// action (dropped by default) and sets `foundErrors`. False: a page that cannot be converted, no
/// memory, or UTF-16 of odd length.
class EncodingConvert {
 public:
  bool EncConvert(int fromCodePage, int toCodePage, const void* bytes, std::size_t n,
                  DataBuffer& out, LogBase& log);
  bool EncConvert(int fromCodePage, int toCodePage, std::string_view bytes, DataBuffer& out,
                  LogBase& log) {
    return EncConvert(fromCodePage, toCodePage, bytes.data(), bytes.size(), out, log);
  }
  /// With the source or the target by name. False for an unknown name, nothing appended. The forms
  /// that take a StringBuffer leave it normalised.
  bool ChConvert2(StringBuffer& fromName, int toCodePage, const void* bytes, std::size_t n,
                  DataBuffer& out, LogBase& log);
  bool ChConvert3(int fromCodePage, StringBuffer& toName, const void* bytes, std::size_t n,
                  DataBuffer& out, LogBase& log);
  bool ChConvert2p(std::string_view fromName, int toCodePage, const void* bytes, std::size_t n,
                   DataBuffer& out, LogBase& log);
  bool ChConvert3p(int fromCodePage, std::string_view toName, const void* bytes, std::size_t n,
                   DataBuffer& out, LogBase& log);
  /// With the process code pages.
  bool AnsiToMultiByte(int toCodePage, const void* bytes, std::size_t n, DataBuffer& out,
                       LogBase& log);
  bool MultiByteToAnsi(int fromCodePage, const void* bytes, std::size_t n, DataBuffer& out,
                       LogBase& log);
  bool OemToMultiByte(int toCodePage, const void* bytes, std::size_t n, DataBuffer& out,
                      LogBase& log);
  bool MultiByteToOem(int fromCodePage, const void* bytes, std::size_t n, DataBuffer& out,
                      LogBase& log);

  /// One of ErrorPolicy's; dropping unless set.
  void setErrorAction(int action) { errorAction_ = action; }
  void setAltDestCodepage(int codePage) { altDestCodePage_ = codePage; }
  /// For ErrorPolicy::kDefaultBytes; anything beyond 100 bytes is cut.
  void setDefBytes(const void* bytes, std::size_t n);
  /// Whether the last conversion met a byte, sequence or character without a mapping.
  [[nodiscard]] bool foundErrors() const { return foundErrors_; }

  /// Frees the shared tables. Only when no other thread converts and no job is running.
  static void cleanupMemory();

 private:
  static constexpr std::size_t kMaxDefBytes = 100;

  int errorAction_ = ErrorPolicy::kDrop;
  int altDestCodePage_ = 0;
  std::uint8_t defBytes_[kMaxDefBytes] = {};
  std::uint32_t numDefBytes_ = 0;
  bool foundErrors_ = false;
};

/// Converts a text in place. False when it could not be carried out; the text is then what the
/// conversion gave, which may be nothing.
bool convertEncoding(StringBuffer& text, int fromCodePage, int toCodePage, LogBase& log);
bool convertFromAnsi(StringBuffer& text, int toCodePage);
bool cvUtf8ToAnsi(StringBuffer& text);
/// True when the bytes have the shape of Latin UTF-8 and a trial conversion from `codePage` cannot
/// be carried out. Bytes that the page does not define do not count as such a failure.
[[nodiscard]] bool isReallyUtf8(const DataBuffer& bytes, int codePage);
/// UTF-16 in machine order, or as its BOM says, to UTF-8. Replaces `out`.
bool cvUnicodeToUtf8(const DataBuffer& utf16, StringBuffer& out);
bool cvUnicodeToUtf8_db(const DataBuffer& utf16, DataBuffer& out);

}  // namespace keldane::mime

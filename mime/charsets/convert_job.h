#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/error_policy.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/utf_convert.h"

namespace keldane::mime {

/// The work behind EncodingConvert::EncConvert: one conversion, by way of little-endian UTF-16
/// unless there is a shorter way with the same outcome.
///
/// What an error action writes is finished output and must not be converted a second time. While
/// the UTF-16 is only half-way, such a stretch is therefore noted with its place and length, and
/// the second half copies it as it stands.
class ConvertJob final : public BadBytes {
 public:
  ConvertJob(const ErrorPolicy& policy, LogBase& log) : policy_(policy), log_(log) {}

  /// See EncodingConvert for the meaning of the result.
  bool convert(int from, int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);
  [[nodiscard]] bool foundErrors() const { return foundErrors_; }

  bool bad(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) override;

 private:
  struct RawStretch {
    std::size_t offset;
    std::size_t length;
  };

  // Which way to go.
  bool fromRewritten(int from, int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);
  bool toRewritten(int from, int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);
  bool convertA(int from, int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);
  bool fromUsAscii(int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);
  bool byPivot(int from, int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out);

  // The two halves, and the ways that need only one.
  bool toUtf16(int from, const code_pages::Page* page, const std::uint8_t* bytes, std::size_t n,
               DataBuffer& out);
  bool fromUtf16(int to, const code_pages::Page* page, const std::uint8_t* bytes, std::size_t n,
                 DataBuffer& out);
  bool pivotToTarget(int to, const code_pages::Page* page, const DataBuffer& pivot,
                     DataBuffer& out);
  bool singleToUtf8(const code_pages::SinglePage& page, const std::uint8_t* bytes, std::size_t n,
                    DataBuffer& out);
  bool doubleToUtf8(const code_pages::DoublePage& page, const std::uint8_t* bytes, std::size_t n,
                    DataBuffer& out);
  bool tableToUtf16(const code_pages::Page& page, const std::uint8_t* bytes, std::size_t n,
                    DataBuffer& out);
  bool utf16ToTable(const code_pages::Page& page, const std::uint8_t* bytes, std::size_t n,
                    DataBuffer& out);
  bool unmapped(char32_t c, const std::uint8_t* units, std::size_t n, DataBuffer& out);

  // Pages with shifts, by ICU.
  bool streamToUtf16(const char* converter, const std::uint8_t* bytes, std::size_t n,
                     DataBuffer& out);
  bool utf16ToStream(const char* converter, const std::uint8_t* bytes, std::size_t n,
                     DataBuffer& out);

  ErrorPolicy policy_;
  LogBase& log_;
  bool foundErrors_ = false;
  int from_ = 0;
  int to_ = 0;
  bool fromSinglePage_ = false;
  /// UTF-16 is only half-way: what actions write is noted below.
  bool inPivot_ = false;
  std::vector<RawStretch> raw_;
};

}  // namespace keldane::mime

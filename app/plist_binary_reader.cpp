#include <bit>
#include <cmath>
#include <limits>

#include "app/plist_readers.h"
#include "base/text.h"

namespace keldane {
namespace {

using Read = std::optional<PlistValue>;

constexpr std::size_t kTrailerBytes = 32;
constexpr std::uint64_t kNoNumber = std::numeric_limits<std::uint64_t>::max();

std::string fromUtf16(std::string_view bytes) {
  const auto unitAt = [bytes](std::size_t at) {
    return static_cast<char32_t>((static_cast<unsigned char>(bytes[at]) << 8U) |
                                 static_cast<unsigned char>(bytes[at + 1]));
  };
  std::string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    char32_t c = unitAt(at);
    if (c >= 0xD800 && c <= 0xDBFF && at + 3 < bytes.size() &&
        (unitAt(at + 2) & 0xFC00U) == 0xDC00) {
      c = 0x10000 + ((c & 0x3FFU) << 10U) + (unitAt(at + 2) & 0x3FFU);
      at += 2;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    appendUtf8(text, c);
  }
  return text;
}

Read dateFrom(double seconds) {
  const double whole = std::floor(seconds);
  if (!(std::abs(whole) < 1e15)) return std::nullopt;
  const auto microseconds = static_cast<int>((seconds - whole) * 1e6);
  return plistDate(static_cast<std::int64_t>(whole), microseconds);
}

/// Reads the binary form: a table of offsets to values, which name one another by their numbers.
class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes)
      : bytes_(bytes), bytesLeft_(bytes.size() + kPlistMostBytes) {}

  [[nodiscard]] Read document() {
    if (bytes_.size() < kBinaryPlistMark.size() + 1 + kTrailerBytes) return std::nullopt;
    const std::size_t trailer = bytes_.size() - kTrailerBytes;
    offsetBytes_ = number(trailer + 6, 1);
    referenceBytes_ = number(trailer + 7, 1);
    count_ = number(trailer + 8, 8);
    const std::uint64_t root = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    const bool sizesHold =
        offsetBytes_ >= 1 && offsetBytes_ <= 8 && referenceBytes_ >= 1 && referenceBytes_ <= 8;
    if (!sizesHold || table_ > trailer || count_ > (trailer - table_) / offsetBytes_) {
      return std::nullopt;
    }
    bytes_ = bytes_.substr(0, trailer);
    return value(root, 0);
  }

 private:
  /// An unsigned number of up to eight bytes; kNoNumber when it is not inside the list.
  [[nodiscard]] std::uint64_t number(std::uint64_t at, std::uint64_t size) const {
    if (at > bytes_.size() || size > bytes_.size() - at) return kNoNumber;
    std::uint64_t found = 0;
    for (std::uint64_t i = 0; i < size; ++i) {
      found = (found << 8U) | static_cast<unsigned char>(bytes_[at + i]);
    }
    return found;
  }

  /// The length that follows a marker; moves `at` to what it measures.
  [[nodiscard]] std::uint64_t lengthOf(unsigned marker, std::uint64_t& at) const {
    const std::uint64_t small = marker & 0x0FU;
    if (small != 0x0F) return small;
    const std::uint64_t kind = number(at, 1);
    if (kind == kNoNumber || (kind & 0xF0U) != 0x10 || (kind & 0x0FU) > 3) return kNoNumber;
    const std::uint64_t size = std::uint64_t{1} << (kind & 0x0FU);
    const std::uint64_t length = number(at + 1, size);
    at += 1 + size;
    return length;
  }

  /// `count` pieces of `size` bytes, or nothing when they are not inside the list.
  [[nodiscard]] std::optional<std::string_view> slice(std::uint64_t at, std::uint64_t count,
                                                      std::uint64_t size) const {
    if (at > bytes_.size() || count > (bytes_.size() - at) / size) return std::nullopt;
    return bytes_.substr(at, count * size);
  }

  Read value(std::uint64_t index, int depth) {
    if (index >= count_ || depth > kPlistMostDepth || valuesLeft_ == 0) return std::nullopt;
    --valuesLeft_;
    std::uint64_t at = number(table_ + index * offsetBytes_, offsetBytes_);
    const std::uint64_t marker = number(at, 1);
    if (at >= table_ || marker == kNoNumber) return std::nullopt;
    return valueAt(static_cast<unsigned>(marker), at + 1, depth);
  }

  Read valueAt(unsigned marker, std::uint64_t at, int depth) {
    switch (marker >> 4U) {
      case 0x0:
        return constant(marker);
      case 0x1:
        return integer(at, marker & 0x0FU);
      case 0x2:
        return real(at, marker & 0x0FU);
      case 0x3:
        return marker == 0x33 ? dateFrom(doubleAt(at)) : std::nullopt;
      case 0x8: {
        const std::uint64_t uid = number(at, (marker & 0x0FU) + 1);
        if ((marker & 0x0FU) > 7 || uid == kNoNumber) return std::nullopt;
        return PlistValue{PlistOpaque{PlistOpaque::Kind::uid, std::to_string(uid)}};
      }
      case 0x4:
      case 0x5:
      case 0x6:
      case 0x7:
        return text(marker, at);
      case 0xA:
      case 0xB:
      case 0xC:
        return array(marker, at, depth);
      case 0xD:
        return dict(marker, at, depth);
      default:
        return std::nullopt;
    }
  }

  static Read constant(unsigned marker) {
    if (marker == 0x00) return PlistValue{PlistOpaque{}};
    if (marker == 0x08) return PlistValue{false};
    if (marker == 0x09) return PlistValue{true};
    return std::nullopt;
  }

  [[nodiscard]] Read integer(std::uint64_t at, unsigned power) const {
    if (power > 4 || !slice(at, std::uint64_t{1} << power, 1)) return std::nullopt;
    if (power == 4) {
      // Sixteen bytes are written for what would be negative in eight.
      const std::uint64_t low = number(at + 8, 8);
      if (number(at, 8) != 0) return std::nullopt;
      if (low > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return PlistValue{PlistOpaque{PlistOpaque::Kind::number, std::to_string(low)}};
      }
      return PlistValue{static_cast<std::int64_t>(low)};
    }
    return PlistValue{static_cast<std::int64_t>(number(at, std::uint64_t{1} << power))};
  }

  [[nodiscard]] double doubleAt(std::uint64_t at) const {
    if (!slice(at, 8, 1)) return std::nan("");
    return std::bit_cast<double>(number(at, 8));
  }

  [[nodiscard]] Read real(std::uint64_t at, unsigned power) const {
    if (power == 3 && slice(at, 8, 1)) return PlistValue{doubleAt(at)};
    if (power == 2 && slice(at, 4, 1)) {
      const auto bits = static_cast<std::uint32_t>(number(at, 4));
      return PlistValue{static_cast<double>(std::bit_cast<float>(bits))};
    }
    return std::nullopt;
  }

  Read text(unsigned marker, std::uint64_t at) {
    const std::uint64_t length = lengthOf(marker, at);
    const unsigned kind = marker >> 4U;
    const std::optional<std::string_view> found = slice(at, length, kind == 0x6 ? 2 : 1);
    if (!found || found->size() > bytesLeft_) return std::nullopt;
    bytesLeft_ -= found->size();
    if (kind == 0x4) return PlistValue{PlistOpaque{PlistOpaque::Kind::data, std::string(*found)}};
    if (kind == 0x6) return PlistValue{fromUtf16(*found)};
    return PlistValue{toUtf8(*found)};
  }

  Read array(unsigned marker, std::uint64_t at, int depth) {
    const std::uint64_t length = lengthOf(marker, at);
    if (!slice(at, length, referenceBytes_)) return std::nullopt;
    PlistArray found;
    for (std::uint64_t i = 0; i < length; ++i) {
      Read item = value(number(at + i * referenceBytes_, referenceBytes_), depth + 1);
      if (!item) return std::nullopt;
      found.push_back(std::move(*item));
    }
    return PlistValue{std::move(found)};
  }

  Read dict(unsigned marker, std::uint64_t at, int depth) {
    const std::uint64_t length = lengthOf(marker, at);
    if (!slice(at, length, referenceBytes_ * 2)) return std::nullopt;
    PlistDict found;
    for (std::uint64_t i = 0; i < length; ++i) {
      Read key = value(number(at + i * referenceBytes_, referenceBytes_), depth + 1);
      if (!key || !std::holds_alternative<std::string>(key->value)) return std::nullopt;
      Read item = value(number(at + (length + i) * referenceBytes_, referenceBytes_), depth + 1);
      if (!item) return std::nullopt;
      found.insert_or_assign(std::get<std::string>(std::move(key->value)), std::move(*item));
    }
    return PlistValue{std::move(found)};
  }

  std::string_view bytes_;  ///< without the trailer, once that has been read
  std::uint64_t offsetBytes_ = 0;
  std::uint64_t referenceBytes_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t table_ = 0;
  std::size_t valuesLeft_ = kPlistMostValues;
  std::size_t bytesLeft_;
};

}  // namespace

Result<PlistValue> parseBinaryPlist(std::string_view bytes) {
  Read value = BinaryReader(bytes).document();
  if (!value) return Failure{"not a whole property list"};
  return std::move(*value);
}

}  // namespace keldane

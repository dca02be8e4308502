#include "settings/property_list_bounds.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kBinaryBegin = "bplist";
constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kTrailerBytes = 32;
constexpr std::uint64_t kNodeBytes = 64;
constexpr const char* kTooDeep = "the property list is nested too deeply";
constexpr const char* kTooLarge = "the property list is too large";
constexpr const char* kNone = "this is not a property list";

std::size_t behind(std::string_view text, std::string_view end, std::size_t from) {
  const std::size_t at = text.find(end, from);
  return at == std::string_view::npos ? text.size() : at + end.size();
}

bool isNamed(std::string_view tag, std::string_view name) {
  if (!tag.starts_with(name)) return false;
  const char next = tag.size() == name.size() ? ' ' : tag[name.size()];
  return next == '/' || next == ' ' || (next >= '\t' && next <= '\r');
}

/// What in an XML text opens or closes a list counts wherever the library could see it so.
Result<void> checkXml(std::string_view text) {
  int depth = 0;
  for (std::size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
    const std::string_view rest = text.substr(at);
    if (rest.starts_with("<!--")) {
      at = behind(text, "-->", at);
      continue;
    }
    if (rest.starts_with("<![CDATA[")) {
      at = behind(text, "]]>", at);
      continue;
    }
    const std::size_t end = behind(text, ">", at);
    const std::string_view tag = text.substr(at + 1, std::max(end, at + 2) - at - 2);
    at = end;
    // A tag within a tag would be counted here and not there, or there and not here.
    if (tag.find('<') != std::string_view::npos) return Failure{kNone};
    const bool closes = tag.starts_with('/');
    const std::string_view name = closes ? tag.substr(1) : tag;
    if (!isNamed(name, "array") && !isNamed(name, "dict")) continue;
    if (!closes && tag.ends_with('/')) continue;
    depth += closes ? -1 : 1;
    if (depth > kPlistMostDepth) return Failure{kTooDeep};
  }
  return {};
}

/// The objects of a binary list as its trailer lays them out.
class BinaryObjects {
 public:
  struct Object {
    std::uint64_t bytes = 0;     ///< what its own value needs
    std::size_t references = 0;  ///< place of the first one
    std::uint64_t children = 0;
  };

  static std::optional<BinaryObjects> open(std::string_view bytes) {
    BinaryObjects objects;
    if (bytes.size() < kHeaderBytes + kTrailerBytes) return std::nullopt;
    const std::size_t trailer = bytes.size() - kTrailerBytes;
    objects.bytes_ = bytes;
    objects.offsetSize_ = static_cast<unsigned char>(bytes[trailer + 6]);
    objects.referenceSize_ = static_cast<unsigned char>(bytes[trailer + 7]);
    const auto isSize = [](std::size_t size) { return size >= 1 && size <= 8; };
    if (!isSize(objects.offsetSize_) || !isSize(objects.referenceSize_)) return std::nullopt;
    objects.count_ = *objects.number(trailer + 8, 8);
    objects.top_ = *objects.number(trailer + 16, 8);
    const std::uint64_t table = *objects.number(trailer + 24, 8);
    if (table > trailer || objects.count_ > (trailer - table) / objects.offsetSize_ ||
        objects.top_ >= objects.count_) {
      return std::nullopt;
    }
    objects.table_ = static_cast<std::size_t>(table);
    return objects;
  }

  [[nodiscard]] std::size_t count() const { return static_cast<std::size_t>(count_); }
  [[nodiscard]] std::size_t top() const { return static_cast<std::size_t>(top_); }

  [[nodiscard]] std::optional<Object> object(std::size_t index) const {
    const std::uint64_t offset = *number(table_ + index * offsetSize_, offsetSize_);
    if (offset >= bytes_.size()) return std::nullopt;
    auto place = static_cast<std::size_t>(offset);
    const auto marker = static_cast<unsigned char>(bytes_[place++]);
    std::uint64_t length = marker & 0x0F;
    const unsigned kind = marker >> 4;
    if (kind < 4) return Object{kNodeBytes, 0, 0};  // numbers and dates have no length like this
    if (length == 0x0F) {
      if (place >= bytes_.size()) return std::nullopt;
      const std::size_t size = std::size_t{1} << (static_cast<unsigned char>(bytes_[place++]) & 3);
      const std::optional<std::uint64_t> given = number(place, size);
      if (!given || *given > bytes_.size()) return std::nullopt;
      length = *given;
      place += size;
    }
    switch (kind) {
      case 0xA:
      case 0xC:
      case 0xD: {
        const std::uint64_t children = kind == 0xD ? 2 * length : length;
        if (children > (bytes_.size() - place) / referenceSize_) return std::nullopt;
        return Object{kNodeBytes, place, children};
      }
      default:
        return Object{kNodeBytes + 2 * length, 0, 0};
    }
  }

  [[nodiscard]] std::optional<std::size_t> child(const Object& object, std::uint64_t n) const {
    const auto index =
        number(object.references + static_cast<std::size_t>(n) * referenceSize_, referenceSize_);
    if (!index || *index >= count_) return std::nullopt;
    return static_cast<std::size_t>(*index);
  }

 private:
  BinaryObjects() = default;

  [[nodiscard]] std::optional<std::uint64_t> number(std::size_t place, std::size_t size) const {
    if (place > bytes_.size() || size > bytes_.size() - place) return std::nullopt;
    std::uint64_t value = 0;
    for (const char byte : bytes_.substr(place, size)) {
      value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t table_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t top_ = 0;
};

/// Follows every reference from the top, each object once.
Result<void> checkBinary(std::string_view bytes) {
  const std::optional<BinaryObjects> objects = BinaryObjects::open(bytes);
  if (!objects) return Failure{kNone};
  struct Known {
    std::uint64_t bytes = 0;  ///< of it and all below it; 0: not yet reckoned
    int depth = 0;            ///< of what lies below it
    bool open = false;        ///< lies above the present one
  };
  struct Step {
    std::size_t index;
    BinaryObjects::Object object;
    std::uint64_t next = 0;
    std::uint64_t bytes = 0;
    int depth = 0;
  };
  std::vector<Known> known(objects->count());
  std::vector<Step> way;
  const auto enter = [&](std::size_t index) {
    const auto object = objects->object(index);
    if (!object) return false;
    known[index].open = true;
    way.push_back({index, *object, 0, object->bytes, 0});
    return true;
  };
  if (!enter(objects->top())) return Failure{kNone};
  while (!way.empty()) {
    Step& step = way.back();
    if (step.next == step.object.children) {
      known[step.index] = {step.bytes, step.depth, false};
      way.pop_back();
      continue;
    }
    const auto child = objects->child(step.object, step.next);
    if (!child || known[*child].open) return Failure{kNone};
    const Known& below = known[*child];
    if (below.bytes == 0) {
      if (way.size() > static_cast<std::size_t>(kPlistMostDepth)) return Failure{kTooDeep};
      if (!enter(*child)) return Failure{kNone};
      continue;
    }
    ++step.next;
    step.bytes += below.bytes;
    step.depth = std::max(step.depth, below.depth + 1);
    if (step.bytes > kPlistMostUnfoldedBytes) return Failure{kTooLarge};
    if (static_cast<int>(way.size()) + below.depth > kPlistMostDepth) return Failure{kTooDeep};
  }
  return {};
}

}  // namespace

bool isBinaryPlist(std::string_view bytes) { return bytes.starts_with(kBinaryBegin); }

Result<void> checkPlistBounds(std::string_view bytes) {
  if (bytes.size() >= kPlistMostBytes) return Failure{kTooLarge};
  return isBinaryPlist(bytes) ? checkBinary(bytes) : checkXml(bytes);
}

}  // namespace keldane

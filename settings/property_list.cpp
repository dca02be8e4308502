#include "settings/property_list.h"

#include <charconv>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>
#include <plist/plist.h>

#include "base/text.h"
#include "settings/property_list_bounds.h"

namespace keldane {
namespace {

struct FreePlist {
  void operator()(void* node) const { plist_free(node); }
};
using OwnedPlist = std::unique_ptr<void, FreePlist>;

/// A text that the library has allocated.
std::string takeText(char* text) {
  std::string copy = text != nullptr ? text : "";
  std::free(text);
  return copy;
}

Result<PlistValue> fromNode(plist_t node, int depth);

Result<PlistValue> arrayFrom(plist_t node, int depth) {
  PlistArray array;
  const std::uint32_t size = plist_array_get_size(node);
  array.reserve(size);
  for (std::uint32_t i = 0; i < size; ++i) {
    Result<PlistValue> item = fromNode(plist_array_get_item(node, i), depth + 1);
    if (!item) return item;
    array.push_back(std::move(*item));
  }
  return PlistValue{std::move(array)};
}

Result<PlistValue> dictFrom(plist_t node, int depth) {
  PlistDict dict;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  const std::unique_ptr<void, decltype(&std::free)> freeIterator(iterator, std::free);
  while (true) {
    char* key = nullptr;
    plist_t child = nullptr;
    plist_dict_next_item(node, iterator, &key, &child);
    if (child == nullptr) break;
    const std::string name = takeText(key);
    Result<PlistValue> value = fromNode(child, depth + 1);
    if (!value) return value;
    dict.insert_or_assign(name, std::move(*value));
  }
  return PlistValue{std::move(dict)};
}

PlistValue opaqueFrom(plist_t node) {
  PlistOpaque opaque;
  if (plist_get_node_type(node) == PLIST_DATA) {
    opaque.kind = PlistOpaque::Kind::data;
    char* bytes = nullptr;
    std::uint64_t length = 0;
    plist_get_data_val(node, &bytes, &length);
    if (bytes != nullptr) opaque.bytes.assign(bytes, length);
    std::free(bytes);
  } else if (plist_get_node_type(node) == PLIST_DATE) {
    opaque.kind = PlistOpaque::Kind::date;
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    opaque.bytes = fmt::format("{}.{:06}", seconds, microseconds);
  } else {
    opaque.kind = PlistOpaque::Kind::uid;
    std::uint64_t uid = 0;
    plist_get_uid_val(node, &uid);
    opaque.bytes = fmt::format("{}", uid);
  }
  return {std::move(opaque)};
}

Result<PlistValue> fromNode(plist_t node, int depth) {
  if (depth > kPlistMostDepth) return Failure{"the property list is nested too deeply"};
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t on = 0;
      plist_get_bool_val(node, &on);
      return PlistValue{on != 0};
    }
    case PLIST_UINT: {
      std::uint64_t number = 0;
      plist_get_uint_val(node, &number);
      return PlistValue{static_cast<std::int64_t>(number)};
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return PlistValue{number};
    }
    case PLIST_STRING: {
      char* text = nullptr;
      plist_get_string_val(node, &text);
      return PlistValue{takeText(text)};
    }
    case PLIST_ARRAY:
      return arrayFrom(node, depth);
    case PLIST_DICT:
      return dictFrom(node, depth);
    case PLIST_DATA:
    case PLIST_DATE:
    case PLIST_UID:
      return opaqueFrom(node);
    default:
      return Failure{"the property list holds a value of an unknown kind"};
  }
}

struct NodeMaker {
  plist_t operator()(const std::string& text) const { return plist_new_string(text.c_str()); }
  // The library keeps negative numbers in the same 64 bits and writes them signed.
  plist_t operator()(std::int64_t number) const {
    return plist_new_uint(static_cast<std::uint64_t>(number));
  }
  plist_t operator()(double number) const { return plist_new_real(number); }
  plist_t operator()(bool on) const { return plist_new_bool(on ? 1 : 0); }
  plist_t operator()(const PlistArray& array) const {
    plist_t node = plist_new_array();
    for (const PlistValue& item : array) {
      plist_array_append_item(node, std::visit(*this, item.value));
    }
    return node;
  }
  plist_t operator()(const PlistDict& dict) const {
    plist_t node = plist_new_dict();
    for (const auto& [key, item] : dict) {
      plist_dict_set_item(node, key.c_str(), std::visit(*this, item.value));
    }
    return node;
  }
  plist_t operator()(const PlistOpaque& opaque) const {
    switch (opaque.kind) {
      case PlistOpaque::Kind::data:
        return plist_new_data(opaque.bytes.data(), opaque.bytes.size());
      case PlistOpaque::Kind::date: {
        const std::size_t point = opaque.bytes.find('.');
        return plist_new_date(
            leadingInt(opaque.bytes),
            point == std::string::npos ? 0 : leadingInt(opaque.bytes.substr(point + 1)));
      }
      case PlistOpaque::Kind::uid:
        break;
    }
    std::uint64_t uid = 0;
    std::from_chars(opaque.bytes.data(), opaque.bytes.data() + opaque.bytes.size(), uid);
    return plist_new_uid(uid);
  }
};

bool beginsWithNumber(std::string_view text) {
  text = trimWhitespace(text);
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

}  // namespace

std::optional<std::string> PlistValue::text() const {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* number = std::get_if<std::int64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* number = std::get_if<double>(&value)) return fmt::format("{}", *number);
  if (const auto* on = std::get_if<bool>(&value)) return *on ? "1" : "0";
  return std::nullopt;
}

std::optional<std::int64_t> PlistValue::integer() const {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
  if (const auto* on = std::get_if<bool>(&value)) return *on ? 1 : 0;
  if (const auto* number = std::get_if<double>(&value)) {
    if (!(*number > -9e18 && *number < 9e18)) return std::nullopt;
    return static_cast<std::int64_t>(*number);
  }
  if (const auto* text = std::get_if<std::string>(&value); text && beginsWithNumber(*text)) {
    return leadingInt(*text);
  }
  return std::nullopt;
}

std::optional<double> PlistValue::real() const {
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* number = std::get_if<std::int64_t>(&value)) return static_cast<double>(*number);
  if (const auto* text = std::get_if<std::string>(&value); text && beginsWithNumber(*text)) {
    return leadingDouble(*text);
  }
  return std::nullopt;
}

const PlistArray* PlistValue::array() const { return std::get_if<PlistArray>(&value); }

const PlistDict* PlistValue::dict() const { return std::get_if<PlistDict>(&value); }

Result<PlistValue> parsePlist(std::string_view bytes) {
  if (const Result<void> bounded = checkPlistBounds(bytes); !bounded) {
    return Failure{bounded.error()};
  }
  // The library's own choice between the forms has other arguments in each version, and in newer
  // ones knows forms that nobody has asked for.
  plist_t raw = nullptr;
  const auto length = static_cast<std::uint32_t>(bytes.size());
  if (isBinaryPlist(bytes)) {
    plist_from_bin(bytes.data(), length, &raw);
  } else {
    plist_from_xml(bytes.data(), length, &raw);
  }
  const OwnedPlist root(raw);
  if (!root) return Failure{"this is not a property list"};
  return fromNode(root.get(), 0);
}

Result<std::string> plistToXml(const PlistValue& value) {
  const OwnedPlist root(std::visit(NodeMaker{}, value.value));
  char* xml = nullptr;
  std::uint32_t length = 0;
  if (root) plist_to_xml(root.get(), &xml, &length);
  if (xml == nullptr) return Failure{"the property list could not be written"};
  std::string text(xml, length);
  plist_to_xml_free(xml);
  return text;
}

}  // namespace keldane

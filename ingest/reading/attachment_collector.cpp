#include "ingest/reading/attachment_collector.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace keldane {
namespace {

constexpr std::size_t kStubBytes = 3;  ///< shorter data only stands in for a part kept elsewhere
constexpr std::size_t kLargeBytes = 1U << 20U;

/// Attachments and related items are asked for in the same way, by calls of their own.
struct Attachments {
  mime::TnoEmail& email;
  int count() { return email.NumAttachments(); }
  auto data(int i) { return email.GetAttachmentData(i); }
  auto contentType(int i) { return email.GetAttachmentContentType(i); }
  auto fileName(int i) { return email.GetAttachmentFilename(i); }
  auto charset(int i) { return email.GetAttachmentAttr(i, "content-type", "charset"); }
  auto text(int i, std::string_view charset) { return email.GetAttachmentString(i, charset); }
};

struct RelatedItems {
  mime::TnoEmail& email;
  int count() { return email.NumRelatedItems(); }
  auto data(int i) { return email.GetRelatedData(i); }
  auto contentType(int i) { return email.GetRelatedContentType(i); }
  auto fileName(int i) { return email.GetRelatedFilename(i); }
  auto charset(int i) { return email.GetRelatedAttr(i, "content-type", "charset"); }
  auto text(int i, std::string_view charset) { return email.GetRelatedString(i, charset); }
};

class Collector {
 public:
  Collector(const AttachmentLimits& limits, PartialFile& partial, CurrentMessage& message)
      : limits_(limits), partial_(partial), message_(message) {}

  /// False when there was no memory for one: the engine has data for every item that it counts,
  /// if it can give them.
  template <typename Items>
  [[nodiscard]] bool collect(Items items) {
    const int count = items.count();
    for (int i = 0; i < count; ++i) {
      std::optional<std::string> data = items.data(i);
      if (!data) return false;
      attachDataList_.push_back(data->size());
      if (!collectOne(items, i, std::move(*data))) return false;
    }
    return true;
  }

 private:
  template <typename Items>
  [[nodiscard]] bool collectOne(Items& items, int index, std::string data) {
    const std::size_t measured = measuredSize(index);
    if (limits_.largeAttachState && static_cast<double>(measured) > limits_.attachSizeBytes) {
      return true;
    }
    if (measured < kStubBytes) {
      std::optional<std::string> part = partial_.takePart();
      if (!part) return true;
      data = std::move(*part);
    } else if (!readText(items, index, data)) {
      return false;
    }
    message_.msgParts.push_back({items.contentType(index).value_or(""),
                                 items.fileName(index).value_or("noname"), std::move(data)});
    return true;
  }

  /// Large data makes room for the conversion of its text and is fetched again behind it.
  template <typename Items>
  [[nodiscard]] bool readText(Items& items, int index, std::string& data) {
    const bool isLarge = data.size() > kLargeBytes;
    if (isLarge) std::string().swap(data);
    addText(items.text(index, items.charset(index).value_or("")));
    if (!isLarge) return true;
    std::optional<std::string> again = items.data(index);
    if (!again) return false;
    data = std::move(*again);
    return true;
  }

  void addText(std::optional<std::string> text) {
    if (!text) return;
    if (message_.msgAttachText.empty()) {
      message_.msgAttachText = std::move(*text);
    } else {
      message_.msgAttachText.append(*text);
    }
  }

  [[nodiscard]] std::size_t measuredSize(int index) const {
    return attachDataList_[static_cast<std::size_t>(index)];
  }

  const AttachmentLimits& limits_;
  PartialFile& partial_;
  CurrentMessage& message_;
  /// Sizes of the data, of attachments and then of related items.
  std::vector<std::size_t> attachDataList_;
};

}  // namespace

Result<void> collectAttachments(mime::TnoEmail& email, const AttachmentLimits& limits,
                                PartialFile& partial, CurrentMessage& message) {
  Collector collector(limits, partial, message);
  if (!collector.collect(Attachments{email}) || !collector.collect(RelatedItems{email})) {
    return Failure{"not enough memory for an attachment"};
  }
  return {};
}

}  // namespace keldane

#include "ingest/storing/dry_store.h"

#include <optional>

#include "base/sha256.h"

namespace keldane {
namespace {

std::string digestOf(const DuplicateKey& key, std::string_view kind, std::string_view rest) {
  Sha256 digest;
  for (const std::string_view text : {key.date, key.to, key.from, kind, rest}) {
    digest.add(std::to_string(text.size()));
    digest.add(" ");
    digest.add(text);
  }
  return digest.finish();
}

std::string digestOfAddresses(const DuplicateKey& key) { return digestOf(key, "addresses", {}); }

std::string digestOfBody(const DuplicateKey& key) {
  const std::optional<std::string_view> beginning = comparedBeginning(key.body);
  return beginning ? digestOf(key, "body", *beginning) : digestOfAddresses(key);
}

std::string digestOfContent(const DuplicateKey& key, std::string_view contentSha256) {
  return digestOf(key, "content", contentSha256);
}

}  // namespace

const std::string* DryStore::pathOf(const std::string& digest) const {
  const auto found = seen_.find(digest);
  return found == seen_.end() ? nullptr : &paths_[found->second];
}

DryStore::Earlier DryStore::find(const DuplicateKey& key, std::string_view contentSha256) const {
  if (!contentSha256.empty()) {
    const std::string* same = pathOf(digestOfContent(key, contentSha256));
    if (same != nullptr) return {.isSame = true, .path = *same};
  }
  const std::string* like = pathOf(digestOfBody(key));
  if (like == nullptr) return {};
  return {.isSame = contentSha256.empty(), .differs = !contentSha256.empty(), .path = *like};
}

void DryStore::add(const DuplicateKey& key, std::string_view contentSha256,
                   const std::string& path) {
  if (paths_.empty() || paths_.back() != path) paths_.push_back(path);
  const std::size_t index = paths_.size() - 1;
  if (!contentSha256.empty()) seen_.emplace(digestOfContent(key, contentSha256), index);
  seen_.emplace(digestOfAddresses(key), index);
  seen_.emplace(digestOfBody(key), index);
}

}  // namespace keldane

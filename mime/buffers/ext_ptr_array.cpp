#include "mime/buffers/ext_ptr_array.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "mime/buffers/psdk.h"

namespace keldane::mime {

namespace {
constexpr int kMaxGrowBy = 100000;
}

ExtPtrArrayBase::~ExtPtrArrayBase() {
  removeAllObjects();
  std::free(items_);
}

void ExtPtrArrayBase::removeAllObjects() {
  const int size = size_;
  size_ = 0;
  if (!ownsObjects_) return;
  for (int i = 0; i < size; ++i) {
    if (isAlive(items_[i])) {
      delete items_[i];
    } else {
      Psdk::badObjectFound();
    }
  }
}

TarnellObject* ExtPtrArrayBase::objectAt(int index) const {
  if (index < 0 || index >= size_) return nullptr;
  TarnellObject* object = items_[index];
  if (isAlive(object)) return object;
  Psdk::badObjectFound();
  return nullptr;
}

bool ExtPtrArrayBase::growForOne() {
  const int capacity = capacity_ == 0 ? growBy_ : std::max<int>(capacity_ + growBy_, size_ + 2);
  if (capacity < capacity_) return false;
  void* block =
      std::realloc(static_cast<void*>(items_), static_cast<std::size_t>(capacity) * sizeof(void*));
  if (!block) return false;
  items_ = static_cast<TarnellObject**>(block);
  if (capacity_ != 0) growBy_ = std::min(capacity, kMaxGrowBy);
  capacity_ = capacity;
  return true;
}

bool ExtPtrArrayBase::insertObject(int index, TarnellObject* object) {
  if (!object || index < 0 || index > size_) return false;
  if (!isAlive(object)) {
    Psdk::badObjectFound();
    return false;
  }
  if (size_ == capacity_ && !growForOne()) return false;
  std::copy_backward(items_ + index, items_ + size_, items_ + size_ + 1);
  items_[index] = object;
  ++size_;
  return true;
}

bool ExtPtrArrayBase::replaceObject(int index, TarnellObject* object) {
  if (!object || index < 0 || index >= size_) return false;
  if (ownsObjects_) delete objectAt(index);
  items_[index] = object;
  return true;
}

void ExtPtrArrayBase::swapBase(ExtPtrArrayBase& other) noexcept {
  std::swap(items_, other.items_);
  std::swap(growBy_, other.growBy_);
  std::swap(capacity_, other.capacity_);
  std::swap(size_, other.size_);
  std::swap(ownsObjects_, other.ownsObjects_);
}

TarnellObject* ExtPtrArrayBase::takeAt(int index) {
  if (index < 0 || index >= size_) return nullptr;
  TarnellObject* object = objectAt(index);
  std::copy(items_ + index + 1, items_ + size_, items_ + index);
  --size_;
  return object;
}

std::string_view ExtPtrArraySb::viewAt(int index) const {
  const StringBuffer* sb = sbAt(index);
  return sb ? sb->view() : std::string_view();
}

bool ExtPtrArraySb::appendString(std::string_view text) {
  std::unique_ptr<StringBuffer> sb(new (std::nothrow) StringBuffer);
  return sb && sb->append(text) && appendObject(std::move(sb));
}

bool split(std::string_view text, ExtPtrArraySb& list, char separator, bool exceptDoubleQuoted,
           bool exceptEscaped) {
  return split2(text, list, {&separator, 1}, exceptDoubleQuoted, exceptEscaped);
}

bool split2(std::string_view text, ExtPtrArraySb& list, std::string_view separators,
            bool exceptDoubleQuoted, bool exceptEscaped) {
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && exceptEscaped) {
      ++i;
    } else if (c == '"' && exceptDoubleQuoted) {
      quoted = !quoted;
    } else if (!quoted && separators.find(c) != std::string_view::npos) {
      if (!list.appendString(text.substr(begin, i - begin))) return false;
      begin = i + 1;
    }
  }
  return begin >= text.size() || list.appendString(text.substr(begin));
}

bool splitIntoLines(std::string_view text, ExtPtrArraySb& list, int /*hint*/) {
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\r\n");
    if (!list.appendString(text.substr(0, end))) return false;
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
  }
  return true;
}

}  // namespace keldane::mime

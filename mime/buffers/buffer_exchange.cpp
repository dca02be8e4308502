// What StringBuffer and DataBuffer do with each other: neither room knows the other.
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

bool StringBuffer::append(const DataBuffer& data) {
  if (!data.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return appendN(data.getData2(), data.getSize());
}

bool DataBuffer::append(const StringBuffer& text) {
  if (!text.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return append(text.getString(), text.getSize());
}

bool StringBuffer::takeFromDb(DataBuffer& db) {
  if (!db.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  const std::uint32_t size = db.size_;
  // A terminator must fit behind the bytes, or the block cannot be taken as it is.
  if (db.borrowed_ || size + 1 < kInlineSize || !db.ensureBuffer(1)) {
    if (!setString(db.view())) return false;
    db.clearWithDeallocate();
    return true;
  }
  releaseHeap();
  heap_ = data_ = reinterpret_cast<char*>(db.data_);
  capacity_ = db.capacity_;
  length_ = 0;
  extend_ = kFirstExtend;
  if (db.secure_) secure_ = true;
  db.forget();
  finishAppend(size);
  return true;
}

}  // namespace keldane::mime

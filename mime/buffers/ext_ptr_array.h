#pragma once

#include <memory>
#include <string_view>
#include <type_traits>

#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

/// The part of ExtPtrArray that does not depend on the element type.
class ExtPtrArrayBase : public TarnellObject {
 public:
  ExtPtrArrayBase() = default;
  ExtPtrArrayBase(const ExtPtrArrayBase&) = delete;
  ExtPtrArrayBase& operator=(const ExtPtrArrayBase&) = delete;
  ~ExtPtrArrayBase() override;

  [[nodiscard]] int getSize() const { return size_; }
  [[nodiscard]] bool isEmpty() const { return size_ == 0; }
  [[nodiscard]] int getCapacity() const { return capacity_; }
  void setOwnsObjects(bool owns) { ownsObjects_ = owns; }
  /// Empties the array; the elements are deleted when they are owned.
  void removeAllObjects();

 protected:
  TarnellObject* objectAt(int index) const;
  bool insertObject(int index, TarnellObject* object);
  bool replaceObject(int index, TarnellObject* object);
  TarnellObject* takeAt(int index);
  void swapBase(ExtPtrArrayBase& other) noexcept;

 private:
  bool growForOne();

  TarnellObject** items_ = nullptr;
  int growBy_ = 5;
  int capacity_ = 0;
  int size_ = 0;
  bool ownsObjects_ = true;
};

/// An ordered array of engine objects, which it owns unless told otherwise. Not locked.
///
/// An index out of range and an element with a wrong stamp both come back as null.
template <typename T = TarnellObject>
class ExtPtrArray : public ExtPtrArrayBase {
 public:
  [[nodiscard]] T* elementAt(int index) const { return static_cast<T*>(objectAt(index)); }
  [[nodiscard]] T* lastElement() const { return elementAt(getSize() - 1); }
  /// Takes ownership only when it answers true.
  bool appendObject(T* object) { return insertObject(getSize(), object); }
  bool insertAt(int index, T* object) { return insertObject(index, object); }
  /// On failure the object is deleted.
  bool appendObject(std::unique_ptr<T> object) {
    if (!insertObject(getSize(), object.get())) return false;
    (void)object.release();
    return true;
  }
  bool insertAt(int index, std::unique_ptr<T> object) {
    if (!insertObject(index, object.get())) return false;
    (void)object.release();
    return true;
  }
  /// Deletes the object there, if it is owned. On failure the new one is deleted.
  bool replaceAt(int index, std::unique_ptr<T> object) {
    if (!replaceObject(index, object.get())) return false;
    (void)object.release();
    return true;
  }
  void swap(ExtPtrArray& other) noexcept { swapBase(other); }
  /// Closes the gap and hands the object to the caller, who owns it from now on.
  [[nodiscard]] T* removeAt(int index) { return static_cast<T*>(takeAt(index)); }
  /// As `removeAt`, and deletes the object when it is owned by nobody else.
  void deleteAt(int index) { delete removeAt(index); }
};

/// The same for texts.
class ExtPtrArraySb : public ExtPtrArray<StringBuffer> {
 public:
  [[nodiscard]] StringBuffer* sbAt(int index) const { return elementAt(index); }
  /// The text, empty when out of range.
  [[nodiscard]] std::string_view viewAt(int index) const;
  bool appendString(std::string_view text);
  void removeAllSbs() { removeAllObjects(); }
};

// Splitters. The pieces of `text` are appended to `list` as new objects; false when memory runs
// out. A separator at the very end opens no further piece.
bool split(std::string_view text, ExtPtrArraySb& list, char separator, bool exceptDoubleQuoted,
           bool exceptEscaped);
bool split2(std::string_view text, ExtPtrArraySb& list, std::string_view separators,
            bool exceptDoubleQuoted, bool exceptEscaped);
/// Lines without their ends; CR LF, CR and LF each end one. `hint` is ignored.
bool splitIntoLines(std::string_view text, ExtPtrArraySb& list, int hint);

}  // namespace keldane::mime

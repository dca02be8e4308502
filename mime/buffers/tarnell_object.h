#pragma once

#include <cstdint>

namespace keldane::mime {

/// Root of the engine's objects: a virtual destructor and a validity stamp.
///
/// The stamp is a debugging net against use after free, not a security device: the destructor wipes
/// it, and whoever takes an object out of a container asks `hasValidStamp` first and treats a stale
/// one as absent.
class TarnellObject {
 public:
  static constexpr std::uint32_t kStamp = 0x62CB09E3;

  TarnellObject() = default;
  TarnellObject(const TarnellObject&) {}
  TarnellObject& operator=(const TarnellObject&) { return *this; }
  virtual ~TarnellObject() { rootStamp_ = 0; }

  [[nodiscard]] bool hasValidStamp() const { return isAlive(this); }
  /// For a pointer that may be stale; looking at a dead object is what the stamp is for, so the
  /// sanitizer is told not to mind.
  [[nodiscard]] __attribute__((no_sanitize("vptr"))) static bool isAlive(
      const TarnellObject* object) {
    return object->rootStamp_ == kStamp;
  }

 private:
  // Volatile, or the optimiser drops the store in the destructor as dead.
  volatile std::uint32_t rootStamp_ = kStamp;
};

/// The stamps of the derived classes.
struct Stamps {
  static constexpr std::uint8_t kStringBuffer = 0xAA;
  static constexpr std::uint8_t kDataBuffer = 0xDB;
  static constexpr std::uint32_t kXString = 0xC8E20FF6;
  static constexpr std::uint32_t kMimeField = 0x34AB8702;
  static constexpr std::uint32_t kMimeMessage2 = 0xA4EE21FB;
  static constexpr std::uint32_t kEmail2 = 0xF592C107;
  static constexpr std::uint32_t kClsBase = 0x991144AA;
  static constexpr std::uint32_t kTnMultiByteBase = 0x81F0CA3B;
  static constexpr std::uint32_t kLogContextExitor = 0xCC38A8B8;
};

}  // namespace keldane::mime

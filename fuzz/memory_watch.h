#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {
// Of the address sanitizer; absent in builds without it, where nothing is counted.
int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*))
    __attribute__((weak));
std::size_t __sanitizer_get_allocated_size(const volatile void*) __attribute__((weak));
}

/// The most memory that was in use at once since the start of this object, by all that allocates.
class MemoryWatch {
 public:
  MemoryWatch() {
    static const bool isInstalled =
        __sanitizer_install_malloc_and_free_hooks != nullptr &&
        __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree) != 0;
    (void)isInstalled;
    start_ = peak_ = inUse_;
  }

  /// Ends the fuzzer when reading `inputBytes` took more than such an input may take: of a small
  /// one some hundred times its size, since its shortest pieces become objects, and of a large one
  /// little more than the copies of its text.
  void check(std::size_t inputBytes) const {
    constexpr std::size_t kTables = 4000000;  // of charsets, which stay
    const std::size_t most = kTables + std::min(1000 * inputBytes, 64000000 + 5 * inputBytes);
    const auto taken = static_cast<std::size_t>(peak_ - start_);
    if (taken <= most) return;
    std::fprintf(stderr, "%zu bytes of memory for %zu bytes of input\n", taken, inputBytes);
    std::abort();
  }

 private:
  static void onMalloc(const volatile void*, std::size_t size) {
    inUse_ += static_cast<long long>(size);
    peak_ = std::max(peak_, inUse_);
  }
  static void onFree(const volatile void* block) {
    if (block) inUse_ -= static_cast<long long>(__sanitizer_get_allocated_size(block));
  }

  static inline long long inUse_ = 0;
  static inline long long peak_ = 0;
  long long start_ = 0;
};

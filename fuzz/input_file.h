#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "fuzz/check.h"

/// A file that holds the input at hand and is gone with the process.
class InputFile {
 public:
  InputFile() {
    const int fd = ::mkstemp(path_);
    file_ = fd < 0 ? nullptr : ::fdopen(fd, "w");
    if (file_ == nullptr) std::abort();
  }
  ~InputFile() { ::unlink(path_); }
  const char* hold(const std::uint8_t* data, std::size_t size) {
    std::rewind(file_);
    std::fwrite(data, 1, size, file_);
    std::fflush(file_);
    KELDANE_CHECK(::ftruncate(::fileno(file_), static_cast<off_t>(size)) == 0);
    return path_;
  }

 private:
  char path_[32] = "/tmp/keldane_fuzz.XXXXXX";
  std::FILE* file_ = nullptr;
};

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/result.h"
#include "base/sha256.h"
#include "output/output_file.h"

struct ZSTD_CCtx_s;

namespace keldane {

/// The bytes of a backup on their way into its file: a digest of all, compressed where the name
/// ends in ".zst".
class BackupWriter {
 public:
  explicit BackupWriter(const std::string& path);
  ~BackupWriter();
  BackupWriter(const BackupWriter&) = delete;
  BackupWriter& operator=(const BackupWriter&) = delete;

  [[nodiscard]] Result<void> open() { return file_.open(); }
  /// False once the file cannot take more.
  bool write(std::string_view bytes);
  /// Hexadecimal, of all that has been written so far.
  [[nodiscard]] std::string digest();
  [[nodiscard]] Result<void> commit();

 private:
  bool compress(std::string_view bytes, bool isEnd);

  OutputFile file_;
  Sha256 sha256_;
  ZSTD_CCtx_s* compressor_ = nullptr;  ///< none: the file is plain
  std::string out_;
  bool failed_ = false;
};

/// The plain bytes of a file that may be compressed by zstd, told by its first bytes. A file that
/// ends within a compressed piece fails.
[[nodiscard]] Result<PieceReader> readDecompressed(const std::string& path);

/// Lower-case digits.
[[nodiscard]] std::string hexadecimal(std::string_view bytes);

}  // namespace keldane

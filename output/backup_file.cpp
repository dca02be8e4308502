#include "output/backup_file.h"

#include <utility>

#include <zstd.h>

#include "output/database_tools.h"

namespace keldane {
namespace {

constexpr std::string_view kMagic = "\x28\xB5\x2F\xFD";

/// Inflates the pieces of another reader.
class Decompressor {
 public:
  Decompressor(PieceReader packed, std::string path)
      : packed_(std::move(packed)), path_(std::move(path)), context_(ZSTD_createDCtx()) {
    out_.resize(ZSTD_DStreamOutSize());
  }
  ~Decompressor() { ZSTD_freeDCtx(context_); }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  Result<bool> next(std::string_view& piece) {
    while (true) {
      if (rest_.empty() && !isFull_) {
        const Result<bool> more = packed_(rest_);
        if (!more) return more;
        if (!*more) {
          if (isWhole_) return false;
          return Failure{path_ + ": the file is cut off"};
        }
      }
      ZSTD_inBuffer in{rest_.data(), rest_.size(), 0};
      ZSTD_outBuffer out{out_.data(), out_.size(), 0};
      const std::size_t left = ZSTD_decompressStream(context_, &out, &in);
      if (ZSTD_isError(left) != 0) return Failure{path_ + ": the file is damaged"};
      rest_.remove_prefix(in.pos);
      isWhole_ = left == 0;
      isFull_ = out.pos == out.size;
      piece = std::string_view(out_).substr(0, out.pos);
      if (!piece.empty()) return true;
    }
  }

 private:
  PieceReader packed_;
  std::string path_;
  ZSTD_DCtx* context_;
  std::string out_;
  std::string_view rest_;
  bool isWhole_ = false;  ///< the last compressed piece has been read to its end
  bool isFull_ = false;   ///< the inflater may have more to give without more input
};

}  // namespace

BackupWriter::BackupWriter(const std::string& path) : file_(path) {
  if (!path.ends_with(".zst")) return;
  compressor_ = ZSTD_createCCtx();
  out_.resize(ZSTD_CStreamOutSize());
}

BackupWriter::~BackupWriter() { ZSTD_freeCCtx(compressor_); }

bool BackupWriter::write(std::string_view bytes) {
  sha256_.add(bytes);
  return compress(bytes, false);
}

std::string BackupWriter::digest() { return hexadecimal(sha256_.finish()); }

Result<void> BackupWriter::commit() {
  compress({}, true);
  if (failed_) return Failure{"the backup could not be compressed"};
  return file_.commit();
}

bool BackupWriter::compress(std::string_view bytes, bool isEnd) {
  if (compressor_ == nullptr) {
    file_.write(bytes);
    return !file_.hasFailed();
  }
  ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
  bool isDone = false;
  while (!isDone && !failed_ && !file_.hasFailed()) {
    ZSTD_outBuffer out{out_.data(), out_.size(), 0};
    const std::size_t left =
        ZSTD_compressStream2(compressor_, &out, &in, isEnd ? ZSTD_e_end : ZSTD_e_continue);
    failed_ = ZSTD_isError(left) != 0;
    if (failed_) break;
    file_.write(std::string_view(out_).substr(0, out.pos));
    isDone = isEnd ? left == 0 : in.pos == in.size;
  }
  return !failed_ && !file_.hasFailed();
}

Result<PieceReader> readDecompressed(const std::string& path) {
  const Result<std::string> beginning = readBeginning(path, kMagic.size());
  if (!beginning) return Failure{beginning.error()};
  Result<PieceReader> pieces = readInPieces(path);
  if (!pieces || *beginning != kMagic) return pieces;
  const auto inflater = std::make_shared<Decompressor>(std::move(*pieces), path);
  return PieceReader([inflater](std::string_view& piece) { return inflater->next(piece); });
}

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4U];
    text += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return text;
}

}  // namespace keldane

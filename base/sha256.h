#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace keldane {

/// SHA-256 of bytes that come piece by piece. Throws std::bad_alloc when the library has no memory.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void add(std::string_view bytes);
  /// The digest, 32 bytes, of what was added; begins anew.
  [[nodiscard]] std::string finish();

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

/// Digest of bytes that lie together, 32 bytes.
[[nodiscard]] std::string sha256(std::string_view bytes);

}  // namespace keldane

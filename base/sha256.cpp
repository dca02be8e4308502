#include "base/sha256.h"

#include <new>

#include <openssl/evp.h>

namespace keldane {
namespace {

void require(int succeeded) {
  if (succeeded != 1) throw std::bad_alloc();
}

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  if (!context_) throw std::bad_alloc();
  require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

Sha256::~Sha256() = default;

void Sha256::add(std::string_view bytes) {
  require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Sha256::finish() {
  std::string digest(static_cast<std::size_t>(EVP_MAX_MD_SIZE), '\0');
  unsigned length = 0;
  require(
      EVP_DigestFinal_ex(context_.get(), reinterpret_cast<unsigned char*>(digest.data()), &length));
  require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
  digest.resize(length);
  return digest;
}

std::string sha256(std::string_view bytes) {
  Sha256 hash;
  hash.add(bytes);
  return hash.finish();
}

}  // namespace keldane

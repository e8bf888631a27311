#include "analyzers/pdf/libcrypto.h"

#include <openssl/evp.h>

#include <climits>
#include <memory>

#include "analyzers/lazylibrary.h"

namespace veska::pdf {
namespace {

struct Functions {
  decltype(&::EVP_Digest) Digest = nullptr;
  decltype(&::EVP_md5) md5 = nullptr;
  decltype(&::EVP_sha256) sha256 = nullptr;
  decltype(&::EVP_sha384) sha384 = nullptr;
  decltype(&::EVP_sha512) sha512 = nullptr;
  decltype(&::EVP_aes_128_cbc) aes128 = nullptr;
  decltype(&::EVP_aes_256_cbc) aes256 = nullptr;
  decltype(&::EVP_CIPHER_CTX_new) contextNew = nullptr;
  decltype(&::EVP_CIPHER_CTX_free) contextFree = nullptr;
  decltype(&::EVP_CIPHER_CTX_set_padding) setPadding = nullptr;
  decltype(&::EVP_CipherInit_ex) cipherInit = nullptr;
  decltype(&::EVP_CipherUpdate) cipherUpdate = nullptr;
  bool complete = false;
};

Functions loadFunctions() {
  Functions functions;
  LazyLibrary library("libcrypto.so.3");
  library.find(functions.Digest, "EVP_Digest");
  library.find(functions.md5, "EVP_md5");
  library.find(functions.sha256, "EVP_sha256");
  library.find(functions.sha384, "EVP_sha384");
  library.find(functions.sha512, "EVP_sha512");
  library.find(functions.aes128, "EVP_aes_128_cbc");
  library.find(functions.aes256, "EVP_aes_256_cbc");
  library.find(functions.contextNew, "EVP_CIPHER_CTX_new");
  library.find(functions.contextFree, "EVP_CIPHER_CTX_free");
  library.find(functions.setPadding, "EVP_CIPHER_CTX_set_padding");
  library.find(functions.cipherInit, "EVP_CipherInit_ex");
  library.find(functions.cipherUpdate, "EVP_CipherUpdate");
  functions.complete = library.isComplete();
  return functions;
}

const Functions& functions() {
  static const Functions loaded = loadFunctions();
  return loaded;
}

const unsigned char* bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string runAes(bool encrypt, std::string_view key, std::string_view iv,
                   std::string_view input) {
  const Functions& f = functions();
  const size_t length = input.size() / 16 * 16;
  if (!f.complete || (key.size() != 16 && key.size() != 32) || iv.size() != 16 || length == 0 ||
      length > INT_MAX - 32) {
    return {};
  }
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(f.contextFree)> context(f.contextNew(),
                                                                         f.contextFree);
  if (!context) return {};
  const EVP_CIPHER* cipher = key.size() == 16 ? f.aes128() : f.aes256();
  std::string output(length + 32, '\0');
  int written = 0;
  if (f.cipherInit(context.get(), cipher, nullptr, bytes(key), bytes(iv), encrypt) != 1 ||
      f.setPadding(context.get(), 0) != 1 ||
      f.cipherUpdate(context.get(), reinterpret_cast<unsigned char*>(output.data()), &written,
                     bytes(input), static_cast<int>(length)) != 1) {
    return {};
  }
  output.resize(static_cast<size_t>(written));
  return output;
}

}  // namespace

bool cryptoAvailable() { return functions().complete; }

std::string digest(Digest kind, std::string_view input) {
  const Functions& f = functions();
  if (!f.complete) return {};
  const EVP_MD* algorithm = kind == Digest::kMd5      ? f.md5()
                            : kind == Digest::kSha256 ? f.sha256()
                            : kind == Digest::kSha384 ? f.sha384()
                                                      : f.sha512();
  std::string output(EVP_MAX_MD_SIZE, '\0');
  unsigned int length = 0;
  if (f.Digest(input.data(), input.size(), reinterpret_cast<unsigned char*>(output.data()), &length,
               algorithm, nullptr) != 1) {
    return {};
  }
  output.resize(length);
  return output;
}

std::string aesDecrypt(std::string_view key, std::string_view iv, std::string_view input) {
  return runAes(false, key, iv, input);
}

std::string aesEncrypt(std::string_view key, std::string_view iv, std::string_view input) {
  return runAes(true, key, iv, input);
}

}  // namespace veska::pdf

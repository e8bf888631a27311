// The digests and ciphers that encrypted documents need, from OpenSSL's libcrypto. The library is
// loaded when the first of them is asked for, and only then: most runs never meet such a document.

#ifndef VESKA_ANALYZERS_PDF_LIBCRYPTO_H_
#define VESKA_ANALYZERS_PDF_LIBCRYPTO_H_

#include <string>
#include <string_view>

namespace veska::pdf {

enum class Digest { kMd5, kSha256, kSha384, kSha512 };

// Whether libcrypto is there; without it all functions below give empty results.
bool cryptoAvailable();

std::string digest(Digest kind, std::string_view input);

// AES-128 or AES-256, by the key's length, in CBC mode without padding. iv: 16 bytes; input: whole
// blocks of 16 bytes, what is over is left out.
std::string aesDecrypt(std::string_view key, std::string_view iv, std::string_view input);
std::string aesEncrypt(std::string_view key, std::string_view iv, std::string_view input);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_LIBCRYPTO_H_

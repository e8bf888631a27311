#include "analyzers/pdf/security.h"

#include <algorithm>

#include "analyzers/pdf/libcrypto.h"
#include "crypto/arcfour.h"

namespace veska::pdf {
namespace {

// What a password is filled up with, so all of the empty one.
constexpr std::string_view kPadding(
    "\x28\xBF\x4E\x5E\x4E\x75\x8A\x41\x64\x00\x4E\x56\xFF\xFA\x01\x08"
    "\x2E\x2E\x00\xB6\xD0\x68\x3E\x80\x2F\x0C\xA9\xFE\x64\x53\x69\x7A",
    32);

std::string_view stringOf(const Dictionary& dictionary, std::string_view key) {
  const std::string* text = dictionary[key].string();
  return text ? std::string_view(*text) : std::string_view();
}

std::string rc4(std::string_view key, std::string_view input) {
  std::string output(input.size(), '\0');
  if (input.empty() || key.empty()) return output;
  rc4Crypt(input.size(), reinterpret_cast<const unsigned char*>(input.data()), key.size(),
           reinterpret_cast<const unsigned char*>(key.data()),
           reinterpret_cast<unsigned char*>(output.data()));
  return output;
}

// The hash of revision 6 (ISO 32000-2, algorithm 2.B) of an empty user password with a salt. In
// revision 5 it was plain SHA-256.
std::string hardenedHash(std::string_view salt, int64_t revision) {
  std::string key = digest(Digest::kSha256, salt);
  if (revision < 6) return key;
  for (int round = 0;; ++round) {
    std::string repeated;
    for (int i = 0; i < 64; ++i) repeated += key;
    const std::string_view start(key);
    const std::string encrypted = aesEncrypt(start.substr(0, 16), start.substr(16, 16), repeated);
    if (encrypted.empty()) return {};
    int remainder = 0;  // of the first 16 bytes as a number: 256 is 1 modulo 3
    for (size_t i = 0; i < 16; ++i) remainder += static_cast<unsigned char>(encrypted[i]);
    constexpr Digest kinds[] = {Digest::kSha256, Digest::kSha384, Digest::kSha512};
    key = digest(kinds[remainder % 3], encrypted);
    if (round >= 63 && static_cast<unsigned char>(encrypted.back()) <= round - 31) break;
  }
  return key.substr(0, 32);
}

}  // namespace

std::optional<Security> Security::open(const Dictionary& encrypt, std::string_view fileId) {
  if (!encrypt["Filter"].isName("Standard") || !cryptoAvailable()) return std::nullopt;
  Security security;
  if (!security.findKey(encrypt, fileId)) return std::nullopt;
  return security;
}

Security::Method Security::methodOf(const Dictionary& encrypt, std::string_view use) {
  const std::string_view name = encrypt[use].name();
  const Dictionary* filters = encrypt["CF"].dictionary();
  const Dictionary* filter = filters ? (*filters)[name].dictionary() : nullptr;
  if (!filter || name == "Identity") return Method::kNone;
  const std::string_view method = (*filter)["CFM"].name();
  if (method == "V2") return Method::kRc4;
  if (method == "AESV2") return Method::kAes128;
  if (method == "AESV3") return Method::kAes256;
  return Method::kNone;
}

bool Security::findKey(const Dictionary& encrypt, std::string_view fileId) {
  const int64_t version = encrypt["V"].integer(0);
  revision_ = encrypt["R"].integer(0);
  if (version == 4 || version == 5) {
    strings_ = methodOf(encrypt, "StrF");
    streams_ = methodOf(encrypt, "StmF");
  }
  if (version == 5 && (revision_ == 5 || revision_ == 6)) return findKeyFromSha(encrypt);
  if (version < 1 || version > 4 || revision_ < 2 || revision_ > 4) return false;
  const int64_t bits = version == 1 ? 40 : encrypt["Length"].integer(version == 4 ? 128 : 40);
  // Some writers count bytes.
  const int64_t keyBytes = version == 4 ? 16 : bits < 40 ? bits : bits / 8;
  return findKeyFromMd5(encrypt, fileId, static_cast<size_t>(std::clamp<int64_t>(keyBytes, 5, 16)));
}

// Algorithms 2, 4 and 5: the key, and whether it is the right one.
bool Security::findKeyFromMd5(const Dictionary& encrypt, std::string_view fileId, size_t keyBytes) {
  const std::string_view owner = stringOf(encrypt, "O"), user = stringOf(encrypt, "U");
  if (owner.size() < 32 || user.size() < 16) return false;
  const auto permissions = static_cast<uint32_t>(encrypt["P"].integer(0));
  std::string seed(kPadding);
  seed += owner.substr(0, 32);
  for (int shift = 0; shift < 32; shift += 8)
    seed += static_cast<char>(permissions >> shift & 0xFF);
  seed += fileId;
  if (revision_ >= 4 && !encrypt["EncryptMetadata"].boolean(true)) seed += "\xFF\xFF\xFF\xFF";
  key_ = digest(Digest::kMd5, seed);
  if (revision_ >= 3) {
    for (int i = 0; i < 50; ++i) key_ = digest(Digest::kMd5, key_.substr(0, keyBytes));
  }
  key_.resize(keyBytes);

  if (revision_ == 2) return rc4(key_, kPadding) == user.substr(0, 32);
  std::string check = digest(Digest::kMd5, std::string(kPadding).append(fileId));
  for (int i = 0; i < 20; ++i) {
    std::string roundKey = key_;
    for (char& c : roundKey) c = static_cast<char>(c ^ i);
    check = rc4(roundKey, check);
  }
  return check == user.substr(0, 16);
}

// Algorithms 2.A and 11.
bool Security::findKeyFromSha(const Dictionary& encrypt) {
  const std::string_view user = stringOf(encrypt, "U"), wrapped = stringOf(encrypt, "UE");
  if (user.size() < 48 || wrapped.size() < 32) return false;
  if (hardenedHash(user.substr(32, 8), revision_) != user.substr(0, 32)) return false;
  const std::string wrapKey = hardenedHash(user.substr(40, 8), revision_);
  key_ = aesDecrypt(wrapKey, std::string(16, '\0'), wrapped.substr(0, 32));
  return key_.size() == 32;
}

std::string Security::decrypt(Method method, Reference id, std::string_view input) const {
  if (method == Method::kNone) return std::string(input);
  std::string key = key_;
  if (method != Method::kAes256) {  // algorithm 1: a key for each object
    for (int shift = 0; shift < 24; shift += 8) key += static_cast<char>(id.number >> shift & 0xFF);
    for (int shift = 0; shift < 16; shift += 8) {
      key += static_cast<char>(id.generation >> shift & 0xFF);
    }
    if (method == Method::kAes128) key += "sAlT";
    key = digest(Digest::kMd5, key);
    key.resize(std::min<size_t>(key_.size() + 5, 16));
  }
  if (method == Method::kRc4) return rc4(key, input);
  if (input.size() < 32) return {};
  std::string output = aesDecrypt(key, input.substr(0, 16), input.substr(16));
  const size_t padding = output.empty() ? 0 : static_cast<unsigned char>(output.back());
  if (padding >= 1 && padding <= 16 && padding <= output.size()) {
    output.resize(output.size() - padding);
  }
  return output;
}

std::string Security::decryptString(Reference id, std::string_view input) const {
  return decrypt(strings_, id, input);
}

std::string Security::decryptStream(Reference id, std::string_view input) const {
  return decrypt(streams_, id, input);
}

}  // namespace veska::pdf

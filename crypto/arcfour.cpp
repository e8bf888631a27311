#include "crypto/arcfour.h"

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using Bytes = unsigned char;

constexpr unsigned long kSaltBytes = 10;

constexpr std::array<Bytes, kSaltBytes> kSalt = {0x5B, 0xD1, 0x0E, 0xA7, 0x62,
                                                 0x39, 0xF4, 0x8C, 0x17, 0xE0};

constexpr std::array<Bytes, 80> kLibraryKey = {
    0x3D, 0x91, 0x7A, 0x04, 0xE6, 0x58, 0xC3, 0x2F, 0xB0, 0x1C, 0x85, 0xF7, 0x69, 0xDA, 0x43, 0x9E,
    0x12, 0xAD, 0x70, 0xCB, 0x36, 0xE9, 0x5F, 0x80, 0x27, 0xF2, 0x4D, 0xB8, 0x0B, 0x94, 0x61, 0xDC,
    0xA5, 0x1E, 0x7F, 0xC0, 0x38, 0x8B, 0xF6, 0x53, 0xE1, 0x2A, 0x9C, 0x47, 0xBD, 0x06, 0x72, 0xD9,
    0x64, 0xAF, 0x15, 0xC8, 0x3B, 0x8E, 0xF1, 0x5A, 0xE3, 0x20, 0x97, 0x4C, 0xBA, 0x0D, 0x76, 0xD3,
    0x69, 0xA2, 0x1B, 0xC4, 0x3F, 0x82, 0xFD, 0x56, 0xEF, 0x2C, 0x9B, 0x48, 0xB6, 0x01, 0x7E, 0xD5};

class KeyStream {
 public:
  KeyStream(const Bytes* key, unsigned long keyLength) {
    std::iota(state_.begin(), state_.end(), Bytes{0});
    Bytes j = 0;
    for (unsigned long i = 0; i < state_.size(); ++i) {
      j = static_cast<Bytes>(j + state_[i] + key[i % keyLength]);
      std::swap(state_[i], state_[j]);
    }
  }

  Bytes next() {
    ++i_;
    j_ = static_cast<Bytes>(j_ + state_[i_]);
    std::swap(state_[i_], state_[j_]);
    return state_[static_cast<Bytes>(state_[i_] + state_[j_])];
  }

 private:
  std::array<Bytes, 256> state_;
  Bytes i_ = 0;
  Bytes j_ = 0;
};

std::vector<Bytes> saltedKey(unsigned long keyLength, const void* key, const Bytes* salt) {
  std::vector<Bytes> salted(keyLength + kSaltBytes);
  std::memcpy(salted.data(), key, keyLength);
  std::memcpy(salted.data() + keyLength, salt, kSaltBytes);
  return salted;
}

void seedRandomGenerator() {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::srand(static_cast<unsigned>(now.tv_usec / 1000));
}

Bytes hexValue(char digit) {
  const auto byte = static_cast<Bytes>(digit);
  return static_cast<Bytes>(byte >= '0' && byte <= '9' ? byte - '0' : std::tolower(byte) - 87);
}

}  // namespace

void* rc4Crypt(unsigned long length, const void* input, unsigned long keyLength, const void* key,
               void* output) {
  KeyStream stream(static_cast<const Bytes*>(key), keyLength);
  const auto* in = static_cast<const Bytes*>(input);
  auto* out = static_cast<Bytes*>(output);
  for (unsigned long i = 0; i < length; ++i) out[i] = static_cast<Bytes>(in[i] ^ stream.next());
  return output;
}

void rc4EncipherSalted(int length, const void* input, unsigned long keyLength, const void* key,
                       void* output) {
  seedRandomGenerator();
  std::array<Bytes, kSaltBytes> salt;
  // Drawn so that the generator moves on as it always has, then replaced by the fixed salt.
  for (Bytes& byte : salt) byte = static_cast<Bytes>(std::rand() % 256);
  salt = kSalt;
  std::vector<Bytes> working = saltedKey(keyLength, key, salt.data());
  auto* out = static_cast<Bytes*>(output);
  rc4Crypt(static_cast<unsigned long>(std::max(length, 0)), input, working.size(), working.data(),
           out + kSaltBytes);
  std::memcpy(out, salt.data(), kSaltBytes);
  explicit_bzero(working.data(), working.size());
}

void rc4DecipherSalted(unsigned int length, const void* input, unsigned long keyLength,
                       const void* key, void* output) {
  if (length <= kSaltBytes) return;
  const auto* in = static_cast<const Bytes*>(input);
  const std::vector<Bytes> working = saltedKey(keyLength, key, in);
  rc4Crypt(length - kSaltBytes, in + kSaltBytes, working.size(), working.data(), output);
}

void tohex(unsigned char byte, char* high, char* low) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  *high = kDigits[byte >> 4];
  *low = kDigits[byte & 15];
}

void fromhex(char high, char low, void* byte) {
  *static_cast<Bytes*>(byte) = static_cast<Bytes>(hexValue(high) * 16 + hexValue(low));
}

void convertToHex(int length, const void* bytes, char* text) {
  if (length <= 0) return;
  const auto* in = static_cast<const Bytes*>(bytes);
  for (int i = 0; i < length; ++i, text += 2) tohex(in[i], text, text + 1);
  *text = 0;
}

void convertFromHex(const char* text, int length, void* bytes) {
  auto* out = static_cast<Bytes*>(bytes);
  for (int i = 0; i < length; ++i, text += 2) fromhex(text[0], text[1], out + i);
}

void vEncipher(const void* plaintext, int length, void* output) {
  rc4EncipherSalted(length, plaintext, kLibraryKey.size(), kLibraryKey.data(), output);
}

void vDecipher(const void* enciphered, unsigned int length, void* output) {
  rc4DecipherSalted(length, enciphered, kLibraryKey.size(), kLibraryKey.data(), output);
}

#include "api/lowercase.h"

#include <array>

namespace {

constexpr unsigned char folded(int byte) {
  if (byte == 0x7F) return 0;
  if (byte >= 'A' && byte <= 'Z') return static_cast<unsigned char>(byte + 0x20);
  if (byte >= 0xC1 && byte <= 0xDE) return static_cast<unsigned char>(byte + 0x20);
  if (byte >= 0x8A && byte <= 0x8F) return static_cast<unsigned char>(byte + 0x10);
  if (byte == 0xA3) return 0xB3;
  if (byte == 0xA5) return 0xB9;
  if (byte == 0xAF) return 0xBF;
  return static_cast<unsigned char>(byte);
}

constexpr int position(int byte) { return (byte + 128) % 256; }

}  // namespace

// Spelled out through the building function so that it is there before any constructor runs.
#define FOLDED1(i) folded(((i) + 128) % 256)
#define FOLDED4(i) FOLDED1(i), FOLDED1((i) + 1), FOLDED1((i) + 2), FOLDED1((i) + 3)
#define FOLDED16(i) FOLDED4(i), FOLDED4((i) + 4), FOLDED4((i) + 8), FOLDED4((i) + 12)
#define FOLDED64(i) FOLDED16(i), FOLDED16((i) + 16), FOLDED16((i) + 32), FOLDED16((i) + 48)

unsigned char lowerCaseTable[256] = {FOLDED64(0), FOLDED64(64), FOLDED64(128), FOLDED64(192)};

void mapLowerCaseChars() {
  for (int byte = 0; byte < 256; ++byte) lowerCaseTable[position(byte)] = folded(byte);
}

// The case folding of the whole system: one table, one look-up per byte.

#ifndef VESKA_API_LOWERCASE_H_
#define VESKA_API_LOWERCASE_H_

#include "api/export.h"

extern "C" {

// The folded form of byte b stands at (b + 128) mod 256, that is, the table is indexed by the byte
// read as a signed char plus 128. It holds its contents from the start of the process.
// Deliberate: 0x7F folds to 0; 0xC0 folds to itself while 0xC1 to 0xDE (0xD7 among them) fold to
// byte + 0x20; 0x8A to 0x8F, 0xA3, 0xA5 and 0xAF are the Central European letters.
extern VESKA_API unsigned char lowerCaseTable[256];

// Builds the table anew; the result is always the same.
VESKA_API void mapLowerCaseChars(void);
}

// The folded form of a byte.
inline unsigned char foldByte(char c) { return lowerCaseTable[static_cast<signed char>(c) + 128]; }

#endif  // VESKA_API_LOWERCASE_H_

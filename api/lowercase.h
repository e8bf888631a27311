// The case folding of the whole system: one table, one look-up per byte.

#ifndef VESKA_API_LOWERCASE_H_
#define VESKA_API_LOWERCASE_H_

#include "api/veskalib.h"

// The folded form of a byte.
inline unsigned char foldByte(char c) { return lowerCaseTable[static_cast<signed char>(c) + 128]; }

#endif  // VESKA_API_LOWERCASE_H_

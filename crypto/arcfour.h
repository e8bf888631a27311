// The text cipher that hosts may use to hide short texts: RC4 (as published in 1994; see RFC 6229
// for test vectors) under a fixed key extended by a 10-byte salt, and bytes as hexadecimal text. It
// is declared where hosts find it.

#ifndef VESKA_CRYPTO_ARCFOUR_H_
#define VESKA_CRYPTO_ARCFOUR_H_

#include "api/veskalib.h"

#endif  // VESKA_CRYPTO_ARCFOUR_H_

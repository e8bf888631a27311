// Tables from other 8-bit character sets to Windows-1252; 0xFF where a character has no equivalent.

#ifndef VESKA_ANALYZERS_CHARSETS_H_
#define VESKA_ANALYZERS_CHARSETS_H_

extern const unsigned char kMacRomanToWindows[256];
extern const unsigned char kDosOemToWindows[256];

#endif  // VESKA_ANALYZERS_CHARSETS_H_

// Plain text and source code.

#ifndef VESKA_ANALYZERS_UNICODE_PLAINTEXT_H_
#define VESKA_ANALYZERS_UNICODE_PLAINTEXT_H_

#include <memory>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// The bytes in their character set; binary data gives nothing.
std::unique_ptr<TextSource> makePlainTextSource();

// The same in a fixed character set: Mac Roman, DOS (code page 850).
std::unique_ptr<TextSource> makeMacRomanSource();
std::unique_ptr<TextSource> makeDosSource();

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_PLAINTEXT_H_

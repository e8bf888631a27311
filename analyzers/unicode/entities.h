// Character references of HTML and XML.

#ifndef VESKA_ANALYZERS_UNICODE_ENTITIES_H_
#define VESKA_ANALYZERS_UNICODE_ENTITIES_H_

#include <string>
#include <string_view>

namespace veska::unicode {

// Longer ones do not exist; numbers may have any count of leading zeros, of which so many are read.
constexpr size_t kLongestReference = 40;

// Appends what the reference at the beginning of text stands for. text begins with "&". Result:
// bytes of the reference, 0 when there is none, and then nothing was appended. (HTML Living
// Standard, 13.2.5.72 and following; XML knows numbers and five names, which HTML has too.)
size_t decodeReference(std::string_view text, std::string& to);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_ENTITIES_H_

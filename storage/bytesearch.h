// Looking for a few bytes in many: what a scan of a whole table is made of.

#ifndef VESKA_STORAGE_BYTESEARCH_H_
#define VESKA_STORAGE_BYTESEARCH_H_

#include <string_view>

// The first place in [begin, end) where part, of two bytes at least, stands; null when there is
// none. Takes about as long as reading the bytes.
const char* findBytes(const char* begin, const char* end, std::string_view part);

#endif  // VESKA_STORAGE_BYTESEARCH_H_

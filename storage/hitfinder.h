// What a contents object asks of a search for hits, in 8-bit text and in Unicode.

#ifndef VESKA_STORAGE_HITFINDER_H_
#define VESKA_STORAGE_HITFINDER_H_

#include <string>

class HitFinder {
 public:
  virtual ~HitFinder() = default;

  virtual const std::string& query() const = 0;

  // The first hit whose word is among the first maxWords + 1 words from start on (0: no bound).
  // Result: the text's end when there is none.
  virtual const char* forwards(const char* start, int maxWords) = 0;

  // The last hit whose word begins before start. Result: null when there is none; the text's end
  // when it is not among the maxWords + 1 words before start.
  virtual const char* backwards(const char* start, int maxWords) = 0;

  // Settles for every word of the text whether it is a hit; later searches only look it up.
  virtual void settle() = 0;
};

#endif  // VESKA_STORAGE_HITFINDER_H_

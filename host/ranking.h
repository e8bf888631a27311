// The order of results: BM25 (S. Robertson and H. Zaragoza, "The Probabilistic Relevance Framework:
// BM25 and Beyond", 2009) on what the index knows. How often a word stands in a file comes from the
// links, where it saturates at 256. The length of a file is its recorded size in bytes, in relation
// to the average of the index: a proxy, and therefore kept within bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

#include "host/reader.h"

namespace veska {

// The live files of an index.
struct Corpus {
  uint64_t files = 0;
  double bytes = 0;
};

class Bm25 {
 public:
  explicit Bm25(const Corpus& corpus);

  // What a word counts that so many live files hold.
  double weight(uint64_t filesWithWord) const;
  // What the length of a file does to its score; goes into share(). size 0: of unknown length.
  double lengthFactor(uint32_t size) const;
  // Share of a word in a file's score, to be multiplied with its weight: below kSaturation + 1.
  static double share(uint32_t occurrences, double lengthFactor);

 private:
  double files_;
  double averageSize_;
};

struct Ranked {
  FileId file;
  float score;
};

// Hands out the best of many one by one without sorting them all: making it costs time linear in
// their number, taking the next one logarithmic. Of equal scores the file written last comes first,
// then the one indexed first, so that the order is always the same.
class BestFirst {
 public:
  // The reader must outlive the object.
  BestFirst(const Reader& reader, std::vector<Ranked> candidates);

  bool empty() const { return heap_.empty(); }
  size_t size() const { return heap_.size(); }
  Ranked take();

 private:
  bool worse(const Ranked& a, const Ranked& b) const;

  const Reader& reader_;
  std::vector<Ranked> heap_;
};

}  // namespace veska

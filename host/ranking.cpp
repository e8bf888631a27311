#include "host/ranking.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace veska {
namespace {

constexpr double kSaturation = 1.2;     // k1 of the literature
constexpr double kLengthWeight = 0.75;  // b
// A file counts as no shorter and no longer than this, in average lengths.
constexpr double kShortest = 1.0 / 8;
constexpr double kLongest = 8;

}  // namespace

Bm25::Bm25(const Corpus& corpus)
    : files_(static_cast<double>(std::max<uint64_t>(corpus.files, 1))),
      averageSize_(std::max(corpus.bytes / files_, 1.0)) {}

double Bm25::weight(uint64_t filesWithWord) const {
  const auto holding = static_cast<double>(filesWithWord);
  const double all = std::max(files_, holding);
  return std::log(1 + (all - holding + 0.5) / (holding + 0.5));
}

double Bm25::lengthFactor(uint32_t size) const {
  const double length = size == 0 ? 1 : std::clamp(size / averageSize_, kShortest, kLongest);
  return kSaturation * (1 - kLengthWeight + kLengthWeight * length);
}

double Bm25::share(uint32_t occurrences, double lengthFactor) {
  return occurrences * (kSaturation + 1) / (occurrences + lengthFactor);
}

BestFirst::BestFirst(const Reader& reader, std::vector<Ranked> candidates)
    : reader_(reader), heap_(std::move(candidates)) {
  std::make_heap(heap_.begin(), heap_.end(),
                 [this](const Ranked& a, const Ranked& b) { return worse(a, b); });
}

Ranked BestFirst::take() {
  std::pop_heap(heap_.begin(), heap_.end(),
                [this](const Ranked& a, const Ranked& b) { return worse(a, b); });
  const Ranked best = heap_.back();
  heap_.pop_back();
  return best;
}

bool BestFirst::worse(const Ranked& a, const Ranked& b) const {
  if (a.score != b.score) return a.score < b.score;
  const std::time_t timeOfA = reader_.record(a.file).time;
  const std::time_t timeOfB = reader_.record(b.file).time;
  return timeOfA != timeOfB ? timeOfA < timeOfB : a.file > b.file;
}

}  // namespace veska

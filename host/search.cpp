// Sets of files are sorted lists; a NOT only turns a flag, so that no list of all files is ever
// made. Phrases and NEAR are first taken for "all their words", which holds in more files; under a
// NOT for nothing at all, so that the NOT holds in more files too. The result then has every file
// that matches, and the texts of the best ones decide.
#include "host/search.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace veska {
namespace {

using Files = std::vector<FileId>;

Files both(const Files& a, const Files& b) {
  Files result;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(result));
  return result;
}

Files either(const Files& a, const Files& b) {
  Files result;
  result.reserve(a.size() + b.size());
  std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(result));
  return result;
}

Files without(const Files& a, const Files& b) {
  Files result;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(result));
  return result;
}

Files filesOfPostings(const std::vector<Posting>& postings) {
  Files files(postings.size());
  std::transform(postings.begin(), postings.end(), files.begin(),
                 [](const Posting& posting) { return posting.file; });
  return files;
}

}  // namespace

FileSet intersect(const FileSet& a, const FileSet& b) {
  if (a.complement && b.complement) return {either(a.files, b.files), true};
  if (a.complement) return {without(b.files, a.files), false};
  if (b.complement) return {without(a.files, b.files), false};
  return {both(a.files, b.files), false};
}

FileSet unite(const FileSet& a, const FileSet& b) {
  FileSet result = intersect(FileSet{a.files, !a.complement}, FileSet{b.files, !b.complement});
  result.complement = !result.complement;
  return result;
}

Search::Search(Reader& reader, const Query& query, const Corpus& corpus)
    : reader_(reader), query_(query), bm25_(corpus), finder_(reader, query) {}

SearchResult Search::run(const SearchOptions& options, const TextSource& texts) {
  readPostings();
  Files files = evaluate().files;  // parseQuery lets no query through that only excludes
  if (!options.filter.empty()) {
    FilterPass pass(reader_, options.filter);
    std::erase_if(files, [&pass](FileId file) { return !pass.accepts(file); });
  }
  SearchResult result;
  result.candidates = files.size();
  BestFirst best(reader_, rank(files));
  if (query_.needsText()) {
    check(best, options, texts, result);
    return result;
  }
  result.total = files.size();
  const size_t count = options.limit == 0 ? files.size() : std::min(files.size(), options.limit);
  result.found.reserve(count);
  while (result.found.size() < count) result.found.push_back(best.take());
  return result;
}

void Search::readPostings() {
  postings_.clear();
  for (const QueryWord& word : query_.words) {
    postings_.push_back(word.indexed ? reader_.postings(word) : std::vector<Posting>());
  }
}

FileSet Search::filesOf(const QueryLeaf& leaf) const {
  if (!leaf.needsText()) return {filesOfPostings(postings_[leaf.words.front()]), false};
  if (leaf.negated) return {};
  FileSet result{{}, true};  // all files
  for (const uint32_t word : leaf.words) {
    if (!query_.words[word].indexed) continue;
    result = intersect(result, {filesOfPostings(postings_[word]), false});
  }
  return result;
}

FileSet Search::evaluate() const {
  std::vector<FileSet> stack;
  for (const QueryStep& step : query_.program) {
    switch (step.op) {
      case QueryStep::Op::kLeaf:
        stack.push_back(filesOf(query_.leaves[step.leaf]));
        break;
      case QueryStep::Op::kNot:
        stack.back().complement = !stack.back().complement;
        break;
      default: {
        const FileSet right = std::move(stack.back());
        stack.pop_back();
        FileSet& left = stack.back();
        left = step.op == QueryStep::Op::kAnd ? intersect(left, right) : unite(left, right);
      }
    }
  }
  return std::move(stack.back());
}

std::vector<Ranked> Search::rank(const Files& files) const {
  std::vector<Ranked> ranked(files.size());
  std::vector<float> lengthFactors(files.size());
  for (size_t i = 0; i < files.size(); ++i) {
    ranked[i] = {files[i], 0};
    lengthFactors[i] = static_cast<float>(bm25_.lengthFactor(reader_.record(files[i]).size));
  }
  const std::vector<bool> positive = query_.positiveWords();
  for (size_t word = 0; word < postings_.size(); ++word) {
    if (!positive[word]) continue;
    const double weight = bm25_.weight(postings_[word].size());
    size_t i = 0;
    for (const Posting& posting : postings_[word]) {
      while (i < files.size() && files[i] < posting.file) ++i;
      if (i == files.size()) break;
      if (files[i] != posting.file) continue;
      ranked[i].score +=
          static_cast<float>(weight * Bm25::share(posting.occurrences, lengthFactors[i]));
    }
  }
  return ranked;
}

// --- Texts

void Search::check(BestFirst& candidates, const SearchOptions& options, const TextSource& texts,
                   SearchResult& result) const {
  const auto full = [&] { return options.limit != 0 && result.found.size() >= options.limit; };
  while (!candidates.empty() && !full() && result.checked < options.mostChecked) {
    const Ranked candidate = candidates.take();
    ++result.checked;
    bool holds = false;
    const bool readable = texts(
        candidate.file, [&](std::string_view text) { holds = holdsIn(candidate.file, text); });
    if (!readable) ++result.unreadable;
    if (holds) result.found.push_back(candidate);
  }
  result.total = result.found.size();
  result.totalIsLowerBound = !candidates.empty();
  result.boundReached = !candidates.empty() && !full();
}

bool Search::holdsIn(FileId file, std::string_view text) const {
  std::vector<bool> held(query_.leaves.size());
  finder_.findInParts(text, [&](const std::vector<WordHit>& hits, WordRange) {
    for (size_t i = 0; i < held.size(); ++i) {
      const QueryLeaf& leaf = query_.leaves[i];
      if (!held[i] && leaf.needsText()) held[i] = finder_.holds(leaf, hits);
    }
  });
  std::vector<bool> stack;
  for (const QueryStep& step : query_.program) {
    if (step.op == QueryStep::Op::kLeaf) {
      const QueryLeaf& leaf = query_.leaves[step.leaf];
      stack.push_back(leaf.needsText() ? held[step.leaf] : hasWord(leaf.words.front(), file));
    } else if (step.op == QueryStep::Op::kNot) {
      stack.back() = !stack.back();
    } else {
      const bool right = stack.back();
      stack.pop_back();
      stack.back() = step.op == QueryStep::Op::kAnd ? stack.back() && right : stack.back() || right;
    }
  }
  return stack.back();
}

bool Search::hasWord(uint32_t word, FileId file) const {
  const std::vector<Posting>& postings = postings_[word];
  const auto found =
      std::lower_bound(postings.begin(), postings.end(), file,
                       [](const Posting& posting, FileId wanted) { return posting.file < wanted; });
  return found != postings.end() && found->file == file;
}

}  // namespace veska

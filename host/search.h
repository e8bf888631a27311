// Runs a query against an index: postings of its words, the boolean program over them, filters,
// ranking, and a look into the texts where only these can decide.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "host/filters.h"
#include "host/hits.h"
#include "host/query.h"
#include "host/ranking.h"
#include "host/reader.h"

namespace veska {

// A set of files: these, or all but these. Ascending, each once.
struct FileSet {
  std::vector<FileId> files;
  bool complement = false;
};

FileSet intersect(const FileSet& a, const FileSet& b);
FileSet unite(const FileSet& a, const FileSet& b);

// Looks into the text of a file: calls use(text) with it and answers true; false when there is
// none.
using TextSource =
    std::function<bool(FileId file, const std::function<void(std::string_view text)>& use)>;

struct SearchOptions {
  FileFilter filter;
  size_t limit = 20;          // results at most; 0: all
  size_t mostChecked = 5000;  // texts looked into at most, for phrases and NEAR
};

struct SearchResult {
  std::vector<Ranked> found;  // best first
  size_t total = 0;           // files that match; when texts decide, of those checked
  size_t candidates = 0;      // files that hold the words
  size_t checked = 0;         // texts looked into
  size_t unreadable = 0;      // of these, texts that could not be had
  // Whether there were more candidates than could be looked at: files may be missing from the
  // results
  // (`boundReached`), or just `total` is not the whole number (the limit was filled first).
  bool boundReached = false;
  bool totalIsLowerBound = false;
};

// The reader, the query and the texts must outlive the search.
class Search {
 public:
  Search(Reader& reader, const Query& query, const Corpus& corpus);

  // texts: needed when query.needsText().
  SearchResult run(const SearchOptions& options, const TextSource& texts = {});

 private:
  void readPostings();
  FileSet filesOf(const QueryLeaf& leaf) const;
  FileSet evaluate() const;
  std::vector<Ranked> rank(const std::vector<FileId>& files) const;
  bool holdsIn(FileId file, std::string_view text) const;
  bool hasWord(uint32_t word, FileId file) const;
  void check(BestFirst& candidates, const SearchOptions& options, const TextSource& texts,
             SearchResult& result) const;

  Reader& reader_;
  const Query& query_;
  Bm25 bm25_;
  HitFinder finder_;
  std::vector<std::vector<Posting>> postings_;  // for each word of the query
};

}  // namespace veska

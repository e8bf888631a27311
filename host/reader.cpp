#include "host/reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/errors.h"
#include "host/query.h"
#include "host/session.h"

namespace veska {
namespace {

constexpr FileId kRemovedLink = 1;
constexpr double kSecondsFrom1904To1970 = 2082844800.0;
// Archives nest 100 deep at most; above them are a file and its folder.
constexpr int kMaxAncestors = 110;
// Postings of many words are merged when they have grown to this number, and twice that, and so on.
constexpr size_t kMergeAt = size_t{1} << 20;

// By ascending file, each once. A chunk lists files in the order opposite to that in which they
// were indexed, and newer chunks come first, so nearly always it is enough to reverse.
void sortAndMerge(std::vector<Posting>& postings) {
  const auto after = [](const Posting& a, const Posting& b) { return a.file > b.file; };
  if (std::is_sorted(postings.begin(), postings.end(), after)) {
    std::reverse(postings.begin(), postings.end());
  } else {
    std::sort(postings.begin(), postings.end(),
              [](const Posting& a, const Posting& b) { return a.file < b.file; });
  }
  size_t kept = 0;
  for (const Posting& posting : postings) {
    if (kept > 0 && postings[kept - 1].file == posting.file) {
      postings[kept - 1].occurrences += posting.occurrences;
    } else {
      postings[kept++] = posting;
    }
  }
  postings.resize(kept);
}

// The longest part of a term without wildcards: whatever matches the term holds it.
std::string longestLiteral(const std::string& term) {
  std::string longest;
  for (size_t at = 0; at < term.size();) {
    const size_t end = std::min(term.find_first_of("*?", at), term.size());
    if (end - at > longest.size()) longest = term.substr(at, end - at);
    at = end + 1;
  }
  return longest;
}

}  // namespace

void failDamaged(const std::string& what) {
  fail("the index is damaged: " + what,
       "see what is wrong with: veska verify; repair with: veska rebuild");
}

Reader::Reader(CVeskaIndex* index)
    : index_(index),
      words_(vidxGetWords(index)),
      files_(vidxGetFiles(index)),
      links_(vidxGetLinks(index)) {}

Reader::Reader(CVeskaIndex* index, std::string folder) : Reader(index) {
  unicode_ = true;
  folder_ = std::move(folder);
}

// --- Words

WordId Reader::lookup(const std::string& word) const {
  return engineCall([&] { return static_cast<WordId>(vtsLookup(words_, word.c_str())); });
}

bool Reader::isSkipWord(const std::string& word) const {
  CTextStorage* skipWords = vidxGetSkipWords(index_);
  return skipWords != nullptr &&
         engineCall([&] { return vtsLookup(skipWords, word.c_str()) != 0; });
}

WordId Reader::firstWord() const {
  return engineCall([&] { return static_cast<WordId>(vtsGetFirst(words_)); });
}

WordId Reader::nextWord(WordId word) const {
  return engineCall([&] { return static_cast<WordId>(vtsGetNext(words_, word)); });
}

const char* Reader::wordText(WordId word) const {
  const char* text = engineCall([&] { return vtsGetText(words_, word); });
  if (text == nullptr) failDamaged("a word lies outside the word table");
  return text;
}

bool Reader::matches(const char* word, const std::string& term) const {
  return vidxDoesWordMatch(index_, word, term.c_str());
}

bool Reader::matchesPlain(const char* word, const std::string& term) const {
  if (matches(word, term)) return true;
  return isBeyondAscii(word) && matches(withoutAccents(word).c_str(), term);
}

std::vector<std::string> Reader::accentedFormsOf(const std::string& word) {
  if (!unicode_ || (isBeyondAscii(word) && withoutAccents(word) != word)) return {};
  return accents().wordsOf(word);
}

const AccentTable& Reader::accents() {
  if (!accents_) accents_.emplace(folder_);
  return *accents_;
}

WordEntry Reader::wordEntry(WordId word) const {
  const auto* data =
      static_cast<const unsigned char*>(engineCall([&] { return vtsGetData(words_, word); }));
  if (data == nullptr) failDamaged("a word lies outside the word table");
  WordEntry entry{};
  uint16_t repeats = 0;
  std::memcpy(&entry.pendingFile, data, 4);
  std::memcpy(&repeats, data + 4, 2);
  std::memcpy(&entry.chunk, data + 8, 4);
  entry.pendingOccurrences = repeats + 1u;
  return entry;
}

// --- Postings

std::vector<Posting> Reader::postings(WordId word) {
  std::vector<Posting> found;
  if (word != 0) engineCall([&] { appendPostings(word, found); });
  sortAndMerge(found);
  return found;
}

std::vector<Posting> Reader::postings(const QueryWord& word) {
  std::vector<Posting> found;
  if (word.wildcard) {
    appendMatches(word.text, found);
  } else if (word.single) {
    appendHolders(word.text, found);
  } else {
    std::vector<std::string> forms = accentedFormsOf(word.text);
    forms.push_back(word.text);
    engineCall([&] {
      for (const std::string& form : forms) {
        if (const WordId id = lookup(form); id != 0) appendPostings(id, found);
      }
    });
  }
  sortAndMerge(found);
  return found;
}

// Those of all words that next finds, starting behind the word 0.
template <typename F>
void Reader::appendWhere(F&& next, std::vector<Posting>& out) {
  size_t mergeAt = kMergeAt;
  engineCall([&] {
    for (unsigned long word = next(0); word != 0; word = next(word)) {
      appendPostings(static_cast<WordId>(word), out);
      if (out.size() > mergeAt) {
        sortAndMerge(out);
        mergeAt = std::max(kMergeAt, 2 * out.size());
      }
    }
  });
}

void Reader::appendMatches(const std::string& term, std::vector<Posting>& out) {
  const auto next = [&](unsigned long word) {
    return vidxNextMatchingWord(index_, term.c_str(), word);
  };
  appendWhere(next, out);
  if (!unicode_ || withoutAccents(term) != term) return;
  accents().forEach(longestLiteral(term), [&](const std::string& base, const std::string& word) {
    if (!word.empty() && matches(base.c_str(), term) && !matches(word.c_str(), term)) {
      if (const WordId id = lookup(word); id != 0) engineCall([&] { appendPostings(id, out); });
    }
    return true;
  });
}

void Reader::appendHolders(const std::string& character, std::vector<Posting>& out) {
  const auto holds = [&character](std::string_view word) {
    return word.starts_with(character) || word.ends_with(character);
  };
  const std::string within = "*" + character + "*";
  const auto next = [&](unsigned long word) {
    do word = vidxNextMatchingWord(index_, within.c_str(), word);
    while (word != 0 && !holds(vtsGetText(words_, word)));
    return word;
  };
  appendWhere(next, out);
}

void Reader::appendPostings(WordId word, std::vector<Posting>& out) {
  const WordEntry entry = wordEntry(word);
  if (entry.pendingFile != 0) appendLive(entry.pendingFile, entry.pendingOccurrences, out);
  uint32_t limit = UINT32_MAX;
  for (uint32_t chunk = links_ == nullptr ? 0 : entry.chunk; chunk != 0;) {
    const uint32_t next = appendChunk(chunk, limit, out);
    limit = chunk;
    chunk = next;
  }
}

// Result: the position of the word's next chunk. Chunks do not overlap and older ones lie before
// newer ones: going by that, all chunks of a word are never more than the table.
uint32_t Reader::appendChunk(uint32_t begin, uint32_t limit, std::vector<Posting>& out) {
  uint32_t cursor[2] = {begin, 0};
  while (const auto file = static_cast<FileId>(vflGetFile(links_, cursor))) {
    if (cursor[0] > limit || cursor[0] < begin) {
      failDamaged("the lists of files that hold a word run into each other");
    }
    if (file != kRemovedLink) appendLive(file, cursor[1] + 1, out);
  }
  const auto next = static_cast<uint32_t>(vflGetNextList(links_, cursor[0]));
  if (next >= begin) failDamaged("the lists of files that hold a word lead in a circle");
  return next;
}

void Reader::appendLive(FileId file, uint32_t occurrences, std::vector<Posting>& out) {
  const FileRecord found = record(file);
  if (found.isFolder()) failDamaged("a word leads to a folder");
  if (!found.isObsolete() && parentIsLive(found.parent)) out.push_back({file, occurrences});
}

// --- Files

FileRecord Reader::record(FileId file) const {
  void* info = vfsGetInfo(files_, file);
  if (info == nullptr) failDamaged("something leads to a file record that does not exist");
  FileRecord found{};
  found.parent = vfiGetFileParentID(info);
  found.size = vfiGetFileSize(info);
  found.time = static_cast<std::time_t>(vfiGetFileTimeLastWritten(info) - kSecondsFrom1904To1970);
  found.name = vfiGetFileName(info);
  return found;
}

bool Reader::isLive(FileId file) { return chainIsLive(file); }

bool Reader::parentIsLive(FileId parent) {
  KnownParent& known = knownParents_[(parent * 2654435761u) >> 24];
  if (known.id != parent) known = {parent, chainIsLive(parent)};
  return known.live;
}

bool Reader::chainIsLive(FileId file) const {
  for (int level = 0; level < kMaxAncestors; ++level) {
    const FileRecord found = record(file);
    if (found.isObsolete()) return false;
    if (found.isFolder()) return true;
    file = found.parent;
  }
  failDamaged("a file lies within itself");
}

FileId Reader::folderOf(FileId file) const {
  for (int level = 0; level < kMaxAncestors; ++level) {
    const FileRecord found = record(file);
    if (found.isFolder()) return file;
    file = found.parent;
  }
  failDamaged("a file lies within itself");
}

std::string Reader::path(FileId file) const {
  std::vector<const char*> names;
  for (;;) {
    const FileRecord found = record(file);
    names.push_back(found.name);
    if (found.isFolder()) break;
    if (names.size() > kMaxAncestors) failDamaged("a file lies within itself");
    file = found.parent;
  }
  std::string path = names.back();
  for (size_t i = names.size() - 1; i-- > 0;) {
    if (!path.ends_with('/')) path += '/';
    path += names[i];
  }
  return path;
}

FileId Reader::firstFile() const {
  return engineCall([&] { return static_cast<FileId>(vfsGetFirst(files_)); });
}

FileId Reader::nextFile(FileId file) const {
  return engineCall([&] { return static_cast<FileId>(vfsGetNext(files_, file)); });
}

}  // namespace veska

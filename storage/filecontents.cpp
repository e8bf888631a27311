#include "storage/filecontents.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "analyzers/fileanalyzer.h"
#include "analyzers/tempfile.h"
#include "api/reporting.h"
#include "index/index.h"
#include "storage/hitsearch.h"
#include "storage/unicodehits.h"

namespace {

constexpr size_t kMaxAncestors = 100;

}  // namespace

CFileContents::CFileContents(CVeskaIndex* index, unsigned long fileId, unsigned long maxBytes,
                             int lineWidth, bool option, int defaultDistance)
    : index_(index),
      maxBytes_(static_cast<uint32_t>(
          std::min<unsigned long>(maxBytes, std::numeric_limits<uint32_t>::max()))),
      lineWidth_(lineWidth),
      defaultDistance_(defaultDistance) {
  const auto id = static_cast<uint32_t>(fileId);
  const std::vector<uint32_t> path = recordPath(id);
  for (int byte = 0; byte < 256; ++byte) {
    classes_.startTable[byte] = index->validCharMask[byte];
    classes_.insideTable[byte] = index->validCharMask[byte] || index->validTrailingMask[byte];
  }
  readText(path, id, option);
  lineCursor_ = contents_.get();
  if (contents_) length_ = std::strlen(contents_.get());
}

CFileContents::~CFileContents() = default;

// The records from the root folder down to the file.
std::vector<uint32_t> CFileContents::recordPath(uint32_t fileId) const {
  std::vector<uint32_t> path;
  for (uint32_t id = fileId; id != 0 || path.empty();) {
    if (index_->files == nullptr || index_->files->getData(id) == nullptr)
      throwVeskaError("AssertionFailed", {});
    if (path.size() > kMaxAncestors) throwVeskaError("ArchivesNestedTooDeep", {});
    path.push_back(id);
    id = index_->files->info(id).parent;
  }
  if (path.size() == 1) throwVeskaError("NoFileContentsForDir", {});
  std::reverse(path.begin(), path.end());
  return path;
}

const char* CFileContents::recordName(uint32_t id) const { return index_->files->getText(id); }

// What the analyzer is chosen by: the path with the names of all members.
std::string CFileContents::displayName(const std::vector<uint32_t>& path) const {
  std::string name = recordName(path[0]);
  for (size_t i = 1; i < path.size(); ++i) name.append("/").append(recordName(path[i]));
  return name;
}

void CFileContents::readText(const std::vector<uint32_t>& path, uint32_t fileId, bool option) {
  filePath_ = std::string(recordName(path[0])) + "/" + recordName(path[1]);
  std::optional<FileRemover> extractedFile;
  size_t levels = 0;
  for (size_t i = 2; i < path.size(); i += levels) {
    std::string member =
        index_->extractNested(filePath_.c_str(), std::span(path).subspan(i), &levels);
    if (member.empty()) throwVeskaError("ArchiveExtractError", {});
    filePath_ = member;
    extractedFile.emplace(std::move(member));  // removes that of the level above
    extracted_ = true;
  }
  CFileAnalyzer* analyzer = index_->analyzerThatMatches(displayName(path).c_str());
  if (analyzer == nullptr) analyzer = index_->analyzerNamed("generic");
  CFileAnalyzer plainText(index_);  // for a host that registered no analyzers
  if (analyzer == nullptr) analyzer = &plainText;
  contents_.reset(
      analyzer->fillDisplayBuffer(filePath_.c_str(), fileId, maxBytes_, lineWidth_, option));
}

const std::string& CFileContents::advanceLine() {
  if (lineCursor_ == nullptr || *lineCursor_ == '\0') throwVeskaError("EndOfContents", {});
  const char* end = std::strchr(lineCursor_, '\n');
  const size_t bytes =
      end == nullptr ? std::strlen(lineCursor_) : static_cast<size_t>(end - lineCursor_) + 1;
  currentLine_.assign(lineCursor_, bytes);
  lineCursor_ += bytes;
  return currentLine_;
}

std::string CFileContents::nextLine() { return advanceLine(); }

HitFinder& CFileContents::search(const char* query) {
  if (query == nullptr) query = "";
  if (!search_ || search_->query() != query) {
    search_.reset();
    const std::string_view text(contents_.get(), length_);
    if (index_->unicode) {
      search_ = std::make_unique<UnicodeHits>(*index_, text, query, defaultDistance_);
    } else {
      search_ = std::make_unique<HitSearch>(classes_, text, query, defaultDistance_);
    }
  }
  return *search_;
}

bool CFileContents::containsHit(const char* query) { return searchBuffer(0UL, query) != 0; }

unsigned long CFileContents::searchBuffer(unsigned long offset, const char* query) {
  if (!contents_ || offset >= length_) return 0;
  const char* const text = contents_.get();
  const char* const hit = search(query).forwards(text + offset, 0);
  return hit == text + length_ ? 0 : static_cast<unsigned long>(hit - text) + 1;
}

char* CFileContents::searchBuffer(char* start, const char* query, int maxWords, bool backwards) {
  char* const text = contents_.get();
  if (text == nullptr) return start;
  start = std::clamp(start, text, text + length_);
  const char* const hit = backwards ? search(query).backwards(start, maxWords)
                                    : search(query).forwards(start, maxWords);
  return hit == nullptr ? text - 1 : text + (hit - text);
}

bool CFileContents::isMatch(const char* text, const char* pattern, bool atStart) {
  return index_->unicode ? unicodeTermMatches(*index_, text, pattern, atStart)
                         : termMatches(classes_, text, pattern, atStart);
}

unsigned long CFileContents::tokenLength(unsigned long offset) {
  if (!contents_ || offset >= length_) return 0;
  const char* const word = contents_.get() + offset;
  if (index_->unicode) return unicodeTokenLength(*index_, {contents_.get(), length_}, offset);
  if (!classes_.starts(*word)) return 0;
  const char* end = word + 1;
  while (classes_.continues(*end)) ++end;
  return static_cast<unsigned long>(end - word);
}

// Bytes of the hit's word, or its characters in Unicode text, where pairs have any length.
unsigned long CFileContents::outlineLength(const char* hit, const char** wordEnd) const {
  if (index_->unicode) return unicodeWordCharacters(*index_, {contents_.get(), length_}, hit);
  while (*wordEnd <= hit || classes_.continues(**wordEnd)) ++*wordEnd;
  return static_cast<unsigned long>(*wordEnd - hit);
}

void CFileContents::convertToOutline(const char* query) {
  if (!contents_) return;
  char* const text = contents_.get();
  const char* const textEnd = text + length_;
  const auto minLength = static_cast<unsigned long>(std::max(index_->minWordLength, 0));
  const auto maxLength = index_->maxWordLength == 0
                             ? std::numeric_limits<unsigned long>::max()
                             : static_cast<unsigned long>(index_->maxWordLength);
  HitFinder& hits = search(query);
  hits.settle();
  char* to = text;
  const char* lineStart = text;
  const char* wordEnd = text;
  for (const char* hit = hits.forwards(text, 0); hit != textEnd;) {
    const unsigned long length = outlineLength(hit, &wordEnd);
    if (length < minLength || length > maxLength) {
      hit = hits.forwards(hit + 1, 0);
      continue;
    }
    const void* const before = memrchr(lineStart, '\n', static_cast<size_t>(hit - lineStart));
    if (before != nullptr) lineStart = static_cast<const char*>(before) + 1;
    const void* const end = std::memchr(hit, '\n', static_cast<size_t>(textEnd - hit));
    const char* const lineEnd = end == nullptr ? textEnd : static_cast<const char*>(end) + 1;
    const auto bytes = static_cast<size_t>(lineEnd - lineStart);
    std::memmove(to, lineStart, bytes);
    to += bytes;
    lineStart = wordEnd = lineEnd;
    hit = hits.forwards(lineEnd, 0);
  }
  *to = '\0';
  length_ = static_cast<size_t>(to - text);
  lineCursor_ = text;
  search_.reset();
}

#include "host/accents.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "host/errors.h"
#include "host/files.h"
#include "host/session.h"
#include "host/state.h"

namespace veska {
namespace {

struct Freed {
  void operator()(char* block) const { vDeleteChar(block); }
};

}  // namespace

std::string withoutAccents(const std::string& word) {
  const std::unique_ptr<char, Freed> base(vStripMarks(word.c_str()));
  if (base == nullptr) throw std::bad_alloc();
  return base.get();
}

// Eight bytes at a time: nearly all words of an index are asked.
bool isBeyondAscii(std::string_view word) {
  constexpr uint64_t kHighBits = 0x8080808080808080;
  size_t at = 0;
  for (; at + sizeof(uint64_t) <= word.size(); at += sizeof(uint64_t)) {
    uint64_t bytes = 0;
    std::memcpy(&bytes, word.data() + at, sizeof bytes);
    if ((bytes & kHighBits) != 0) return true;
  }
  unsigned char rest = 0;
  for (; at < word.size(); ++at) rest |= static_cast<unsigned char>(word[at]);
  return rest >= 0x80;
}

AccentTable::AccentTable(const std::string& folder) {
  const std::string path = folder + std::string(kAccentsName);
  const FileDescriptor file = openFile(path, O_RDONLY | O_NOFOLLOW);
  struct stat info;
  if (!file && (errno == ENOENT || errno == ELOOP)) return;
  if (!file || ::fstat(file.get(), &info) != 0)
    failWithErrno("cannot read the table " + path, errno);
  if (!S_ISREG(info.st_mode) || info.st_size <= 0) return;
  const auto bytes = static_cast<size_t>(info.st_size);
  const void* mapped = ::mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, file.get(), 0);
  if (mapped == MAP_FAILED) failWithErrno("cannot read the table " + path, errno);
  text_ = {static_cast<const char*>(mapped), bytes};
}

AccentTable::~AccentTable() {
  if (!text_.empty()) ::munmap(const_cast<char*>(text_.data()), text_.size());
}

AccentTable::AccentTable(AccentTable&& other) noexcept : text_(std::exchange(other.text_, {})) {}

AccentTable& AccentTable::operator=(AccentTable&& other) noexcept {
  std::swap(text_, other.text_);
  return *this;
}

// Where the line begins that `at` lies in.
size_t AccentTable::lineStart(size_t at) const {
  const size_t feed = at == 0 ? std::string_view::npos : text_.rfind('\n', at - 1);
  return feed == std::string_view::npos ? 0 : feed + 1;
}

std::string_view AccentTable::lineAt(size_t start) const {
  return text_.substr(start, text_.find('\n', start) - start);
}

std::vector<std::string> AccentTable::wordsOf(const std::string& base) const {
  const std::string wanted = base + '\t';
  size_t low = 0;
  size_t high = text_.size();
  while (low < high) {
    const size_t start = lineStart(low + (high - low) / 2);
    const std::string_view line = lineAt(start);
    if (line < wanted) {
      low = start + line.size() + 1;
    } else {
      high = start;
    }
  }
  std::vector<std::string> words;
  while (low < text_.size()) {
    const std::string_view line = lineAt(low);
    if (!line.starts_with(wanted)) break;
    words.emplace_back(line.substr(wanted.size()));
    low += line.size() + 1;
  }
  return words;
}

void AccentTable::forEach(
    std::string_view part,
    const std::function<bool(const std::string& base, const std::string& word)>& use) const {
  for (size_t start = 0; start < text_.size();) {
    if (!part.empty()) {
      const void* const hit =
          memmem(text_.data() + start, text_.size() - start, part.data(), part.size());
      if (hit == nullptr) return;
      start = lineStart(static_cast<size_t>(static_cast<const char*>(hit) - text_.data()));
    }
    const std::string_view line = lineAt(start);
    const size_t tab = line.find('\t');
    const bool isEntry = tab != std::string_view::npos && start + line.size() < text_.size();
    const std::string_view word = isEntry ? line.substr(tab + 1) : std::string_view();
    if (!use(std::string(line.substr(0, tab)), std::string(word))) return;
    start += line.size() + 1;
  }
}

std::vector<std::string> AccentTable::lines() const {
  std::vector<std::string> lines;
  for (size_t start = 0; start < text_.size(); start += lines.back().size() + 1)
    lines.emplace_back(lineAt(start));
  return lines;
}

uint64_t writeAccents(CVeskaIndex* index, const std::string& folder, const std::string& known,
                      uint64_t knownUpTo) {
  std::vector<std::string> lines;
  if (knownUpTo != 0) lines = AccentTable(known).lines();
  const auto knownLines = static_cast<ptrdiff_t>(lines.size());
  uint64_t last = knownUpTo;
  engineCall([&] {
    CTextStorage* words = vidxGetWords(index);
    auto id = last == 0 ? vtsGetFirst(words) : vtsGetNext(words, last);
    for (; id != 0; last = id, id = vtsGetNext(words, id)) {
      const char* text = vtsGetText(words, id);
      if (text == nullptr || !isBeyondAscii(text)) continue;
      const std::string word = text;
      std::string base = withoutAccents(word);
      if (base != word) lines.push_back(base.append("\t").append(word));
    }
  });
  std::sort(lines.begin() + knownLines, lines.end());
  std::inplace_merge(lines.begin(), lines.begin() + knownLines, lines.end());
  std::string text;
  for (const std::string& line : lines) text.append(line).push_back('\n');
  replaceFile(folder + std::string(kAccentsName), text);
  return last;
}

}  // namespace veska

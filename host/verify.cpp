#include "host/verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "api/veskalib.h"
#include "host/accents.h"
#include "host/attempt.h"
#include "host/changes.h"
#include "host/encoding.h"
#include "host/session.h"
#include "host/state.h"

namespace veska {
namespace {

constexpr uint32_t kRemovedLink = 1;
constexpr int kMostLevels = 110;
constexpr unsigned kWordDataChunk = 8;
constexpr unsigned kWordDataWaiting = 12;
constexpr unsigned char kObsoleteMark = 0xFF;

uint32_t loadU32(const unsigned char* at) {
  uint32_t value = 0;
  std::memcpy(&value, at, sizeof value);
  return value;
}

class Verifier {
 public:
  Verifier(const std::string& folder, const std::function<void(const std::string&)>& problem)
      : folder_(folder), problem_(problem) {}

  VerifyCounts run();

 private:
  // Counts a problem; reports it unless there were many of its kind.
  void report(std::string_view kind, const std::string& sentence);
  // A step that an unexpected failure of the engine may end.
  template <typename F>
  void step(F&& f);

  void checkSums();
  void checkTables();
  void checkRecord(uint32_t id);
  void checkAncestors(uint32_t id);
  void checkWord(uint32_t id);
  void checkChunks(const std::string& word, uint32_t chunk);
  void checkTarget(const std::string& word, uint32_t file);
  void checkSkipWords();
  void checkAccents();
  void checkCounts();

  bool isRecord(uint32_t id) const { return id < records_.size() && records_[id]; }

  const std::string& folder_;
  const std::function<void(const std::string&)>& problem_;
  VerifyCounts counts_;
  uint64_t accented_ = 0;  // words with accents
  std::map<std::string_view, uint64_t> kinds_;
  std::optional<State> state_;
  CTextStorage* words_ = nullptr;
  CFileStorage* files_ = nullptr;
  CFileLinks* links_ = nullptr;
  CTextStorage* skipWords_ = nullptr;
  std::vector<bool> records_;  // by id: whether a record begins there
};

void Verifier::report(std::string_view kind, const std::string& sentence) {
  ++counts_.problems;
  const uint64_t number = ++kinds_[kind];
  if (number <= kMostOfAKind) problem_(sentence);
  if (number == kMostOfAKind + 1) problem_(fmt::format("... and more of this kind ({})", kind));
}

template <typename F>
void Verifier::step(F&& f) {
  if (const std::optional<HostError> error = attempt([&] { engineCall(f); })) {
    if (error->systemError() != 0) fail(*error);  // says nothing about the index
    report("engine", std::string(error->sentence()));
  }
}

VerifyCounts Verifier::run() {
  step([this] { checkSums(); });
  step([this] { checkTables(); });
  return counts_;
}

void Verifier::checkSums() {
  state_ = readState(folder_);
  if (!state_) {
    report("state", folder_ + "state.json is missing");
    return;
  }
  const std::vector<TableSum> now = sumTables(folder_);
  for (const TableSum& saved : state_->tables) {
    const auto isSaved = [&saved](const TableSum& table) { return table.name == saved.name; };
    if (std::none_of(now.begin(), now.end(), isSaved)) {
      report("sum", fmt::format("the table \"{}\" is missing", saved.name));
    }
  }
  for (const TableSum& table : now) {
    const auto saved =
        std::find_if(state_->tables.begin(), state_->tables.end(),
                     [&table](const TableSum& known) { return known.name == table.name; });
    if (saved == state_->tables.end()) {
      report("sum", fmt::format("state.json has no checksum of the table \"{}\"", table.name));
    } else if (saved->bytes != table.bytes) {
      report("sum", fmt::format("the table \"{}\" has {} bytes, but was saved with {}", table.name,
                                table.bytes, saved->bytes));
    } else if (saved->sum != table.sum) {
      report("sum", fmt::format("the table \"{}\" is not as it was saved: its checksum differs",
                                table.name));
    }
  }
}

void Verifier::checkTables() {
  const Session session = Session::open(folder_, state_ && state_->unicode);
  words_ = vidxGetWords(session.index());
  files_ = vidxGetFiles(session.index());
  links_ = vidxGetLinks(session.index());
  skipWords_ = vidxGetSkipWords(session.index());
  step([this] {
    for (auto id = vfsGetFirst(files_); id != 0; id = vfsGetNext(files_, id)) {
      records_.resize(id + 1, false);
      records_[id] = true;
      ++counts_.records;
    }
  });
  step([this] {
    for (uint32_t id = 0; id < records_.size(); ++id) {
      if (records_[id]) step([&] { checkRecord(id); });
    }
  });
  step([this] {
    for (auto id = vtsGetFirst(words_); id != 0; id = vtsGetNext(words_, id)) {
      ++counts_.words;
      step([&] { checkWord(static_cast<uint32_t>(id)); });
    }
  });
  step([this] { checkSkipWords(); });
  step([this] { checkAccents(); });
  checkCounts();
}

// --- Records

void Verifier::checkRecord(uint32_t id) {
  void* info = recordFields(files_, id);
  const char* name = vfiGetFileName(info);
  const uint32_t parent = vfiGetFileParentID(info);
  if (name[0] == '\0') report("name", fmt::format("file record {} has no name", id));
  if (parent != 0 && (parent >= id || !isRecord(parent))) {
    report("parent", fmt::format("file record {} ({}) lies in {}, which is no earlier record", id,
                                 name, parent));
    return;
  }
  checkAncestors(id);
  if (static_cast<unsigned char>(name[0]) == kObsoleteMark) {
    ++counts_.obsolete;
  } else if (vfsLookupFile(files_, name, parent) != id) {
    report("file look-up", fmt::format("file record {} ({}) is not found by its name", id, name));
  }
}

void Verifier::checkAncestors(uint32_t id) {
  uint32_t above = id;
  for (int level = 0; level < kMostLevels && isRecord(above); ++level) {
    above = vfiGetFileParentID(recordFields(files_, above));
    if (above == 0) return;
  }
  report("ancestors", fmt::format("file record {} lies in no folder", id));
}

// --- Words

void Verifier::checkWord(uint32_t id) {
  const std::string word = vtsGetText(words_, id);
  if (word.empty()) report("word", fmt::format("word {} has no letters", id));
  if (vtsLookup(words_, word.c_str()) != id) {
    report("word look-up", fmt::format("word {} ({}) is not found by look-up", id, toUtf8(word)));
  }
  if (isBeyondAscii(word) && withoutAccents(word) != word) ++accented_;
  const auto* data = static_cast<const unsigned char*>(vtsGetData(words_, id));
  if (const uint32_t pending = loadU32(data); pending != 0) checkTarget(word, pending);
  if (loadU32(data + kWordDataWaiting) != 0) {
    report("compaction", fmt::format("links of the word \"{}\" were left behind when the index was "
                                     "saved",
                                     toUtf8(word)));
  }
  checkChunks(word, loadU32(data + kWordDataChunk));
}

void Verifier::checkChunks(const std::string& word, uint32_t chunk) {
  if (chunk != 0 && links_ == nullptr) {
    report("chunk", "the link table is missing");
    return;
  }
  uint32_t limit = UINT32_MAX;
  while (chunk != 0) {
    uint32_t cursor[2] = {chunk, 0};
    while (const auto file = static_cast<uint32_t>(vflGetFile(links_, cursor))) {
      ++counts_.links;
      if (cursor[0] > limit) break;
      if (file != kRemovedLink) checkTarget(word, file);
    }
    const auto next = static_cast<uint32_t>(vflGetNextList(links_, cursor[0]));
    if (cursor[0] > limit || next >= chunk) {
      report("chunk", fmt::format("the lists of files of the word \"{}\" run into each other",
                                  toUtf8(word)));
      return;
    }
    limit = chunk;
    chunk = next;
  }
}

void Verifier::checkTarget(const std::string& word, uint32_t file) {
  if (!isRecord(file)) {
    report("link",
           fmt::format("the word \"{}\" leads to {}, which is no file record", toUtf8(word), file));
  } else if (vfiGetFileParentID(recordFields(files_, file)) == 0) {
    report("link", fmt::format("the word \"{}\" leads to a folder, record {}", toUtf8(word), file));
  }
}

void Verifier::checkSkipWords() {
  for (auto id = vtsGetFirst(skipWords_); id != 0; id = vtsGetNext(skipWords_, id)) {
    ++counts_.skipWords;
    const char* word = vtsGetText(skipWords_, id);
    if (vtsLookup(skipWords_, word) != id) {
      report("word look-up",
             fmt::format("the skip word \"{}\" is not found by look-up", toUtf8(word)));
    }
  }
}

// --- Accents

// An index that was made without the file has none; where it is there, it must be whole.
void Verifier::checkAccents() {
  const auto isAccents = [](const TableSum& table) { return table.name == kAccentsName; };
  if (!state_ || !state_->unicode ||
      std::none_of(state_->tables.begin(), state_->tables.end(), isAccents)) {
    return;
  }
  uint64_t lines = 0;
  std::string last;
  AccentTable(folder_).forEach({}, [&](const std::string& base, const std::string& word) {
    ++lines;
    const std::string line = base + '\t' + word;
    if (word.empty() || withoutAccents(word) != base) {
      report("accents", fmt::format("line {} of \"accents\" is no word with its base", lines));
    } else if (vtsLookup(words_, word.c_str()) == 0) {
      report("accents", fmt::format("\"accents\" has a word that the index has not: {}", word));
    }
    if (line <= last) report("accents", fmt::format("\"accents\" is not sorted, line {}", lines));
    last = line;
    return true;
  });
  if (lines != accented_) {
    report("accents",
           fmt::format("\"accents\" has {} lines for {} words with accents", lines, accented_));
  }
}

// --- Numbers

void Verifier::checkCounts() {
  if (!state_) return;
  if (state_->wordsIndexed != counts_.words) {
    report("count", fmt::format("there are {} words, but {} were counted when the index was saved",
                                counts_.words, state_->wordsIndexed));
  }
  const uint64_t recorded = state_->liveFiles + state_->liveFolders + state_->obsoleteRecords;
  if (recorded != counts_.records) {
    report("count",
           fmt::format("there are {} file records, but {} were counted when the index was saved",
                       counts_.records, recorded));
  }
}

}  // namespace

VerifyCounts verifyIndex(const std::string& folder,
                         const std::function<void(const std::string& sentence)>& problem) {
  return Verifier(folder, problem).run();
}

}  // namespace veska

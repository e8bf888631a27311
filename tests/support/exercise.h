// Everything that a host may do with an opened index, done once: for damaged tables, where each
// step must end in an error or an answer.
#ifndef VESKA_TESTS_SUPPORT_EXERCISE_H_
#define VESKA_TESTS_SUPPORT_EXERCISE_H_

#include <cstdint>
#include <cstring>
#include <string>

#include "api/veskalib.h"

namespace veska::test {

// Runs a step that may throw the integer of a report, and nothing else. Result: it did not.
template <typename Step>
bool attempt(Step&& step) {
  try {
    step();
    return true;
  } catch (int) {
    return false;
  }
}

struct Endless {};

// A walk ends after fewer steps than the table has bytes.
class StepLimit {
 public:
  void step() {
    if (++steps_ > kMost) throw Endless{};
  }

 private:
  static constexpr int kMost = 1 << 20;
  int steps_ = 0;
};

// As every host should: a chunk that does not lie before the one that names it is damage.
inline void readLinks(CFileLinks* links, uint32_t position) {
  StepLimit limit;
  while (position != 0) {
    uint32_t cursor[2] = {position, 0};
    do limit.step();
    while (vflGetFile(links, cursor) != 0);
    const auto next = static_cast<uint32_t>(vflGetNextList(links, cursor[0]));
    if (next >= position) return;
    position = next;
  }
}

// Opens the index of that path and uses it up. Throws Endless when a walk does not end. Result:
// false when it could not be opened.
inline bool exerciseIndex(const std::string& indexPath, const std::string& docs) {
  CVeskaIndex* index = vCreateNewIndex(false, indexPath.c_str());
  if (!index) return false;
  vidxCreateAnalyzers(index);
  vidxSetMaxPerFileRead(index, 1000);
  for (int letter = 'a'; letter <= 'z'; ++letter) vidxSetValidCharMask(index, letter, true);
  vidxSetIncludeCount(index, 1);
  vidxSetIncludePattern(index, 0, "*.txt", "generic");
  vidxSetTimeBase(index, 1e15);  // nothing is new, so that no walk starts at a damaged path

  const auto walkTexts = [](CTextStorage* table, CFileLinks* links) {
    StepLimit limit;
    for (auto id = vtsGetFirst(table); id != 0; id = vtsGetNext(table, id)) {
      limit.step();
      const char* text = vtsGetText(table, id);
      attempt([&] { vtsLookup(table, text); });
      uint32_t position;
      std::memcpy(&position, static_cast<char*>(vtsGetData(table, id)) + 8, sizeof position);
      if (links) attempt([&] { readLinks(links, position); });
    }
  };
  const auto walkFiles = [](CFileStorage* files) {
    StepLimit limit;
    for (auto id = vfsGetFirst(files); id != 0; id = vfsGetNext(files, id)) {
      limit.step();
      void* record = vfsGetInfo(files, id);
      const std::string name = vfiGetFileName(record);
      attempt([&] { vfsLookupFile(files, name.c_str(), vfiGetFileParentID(record)); });
    }
  };
  attempt([&] { walkTexts(vidxGetWords(index), vidxGetLinks(index)); });
  attempt([&] {
    CTextStorage* skipped = vidxGetSkipWords(index);
    StepLimit limit;
    for (auto id = vtsGetFirst(skipped); id != 0; id = vtsGetNext(skipped, id)) limit.step();
  });
  attempt([&] { walkFiles(vidxGetFiles(index)); });
  for (const char* text : {"alpha", "the", "nothing", ""}) {
    attempt([&] { vtsLookup(vidxGetWords(index), text); });
    attempt([&] { vtsLookup(vidxGetSkipWords(index), text); });
    attempt([&] { vfsLookupFile(vidxGetFiles(index), text, 36); });
  }

  vidxPrune(index);
  for (const char* word : {"alpha", "beta", "fresh", "the"}) {
    vidxIndexWord(index, word, 36);
    vidxIndexWord(index, word, 4000);
  }
  vidxIndexDirectory(index, docs.c_str(), vfsAddFile(vidxGetFiles(index), docs.c_str()));
  vidxCompressLinks(index);
  vidxStoreStorage(index, indexPath.c_str());
  attempt([&] { walkTexts(vidxGetWords(index), vidxGetLinks(index)); });
  vidxClearIndex(index);
  return true;
}

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_EXERCISE_H_

// Whether a saved index is sound: its files are those that were saved, byte for byte, and all that
// refers to something else within them refers to what it should. The invariants, in the order in
// which they are checked:
//
//   1. state.json is there, and each table file has the size and checksum recorded in it.
//   2. The tables open.
//   3. Each file record has a name, and a parent that stands before it or none; going up from
//   parent
//      to parent leads to a folder within the depth to which archives nest.
//   4. Each record that is not obsolete is found by its name and parent.
//   5. Each word has letters, and is found by look-up; so is each skip word.
//   6. A word's chunks lie one before the other in the link table; their entries, and the word's
//      pending file, are file records (no folders) or removed; nothing waits to be compacted.
//   7. Of Unicode text: the lines of "accents" are sorted and well-formed, and there is one for
//   each
//      word of the index that has accents.
//   8. The numbers of words and of records agree with those counted when the index was saved.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace veska {

struct VerifyCounts {
  uint64_t words = 0;
  uint64_t skipWords = 0;
  uint64_t records = 0;
  uint64_t obsolete = 0;
  uint64_t links = 0;
  uint64_t problems = 0;  // all, also those that were not reported for their number
};

// folder: a generation's, with a trailing "/". problem: called for each broken invariant, with a
// sentence that may hold bytes of names; of one kind at most kMostOfAKind times.
inline constexpr uint64_t kMostOfAKind = 10;
VerifyCounts verifyIndex(const std::string& folder,
                         const std::function<void(const std::string& sentence)>& problem);

}  // namespace veska

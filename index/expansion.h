// What has been taken out of containers (archives, mailboxes) so far, for the limits of the index.

#ifndef VESKA_INDEX_EXPANSION_H_
#define VESKA_INDEX_EXPANSION_H_

#include <cstdint>
#include <string>

// The count of one top file, a container that stands in a folder. Analyzers keep it
// (analyzers/container.h); it starts afresh with the next top file.
struct Expansion {
  int depth = 0;             // containers being read, one inside the other
  bool exhausted = false;    // the limit of the top file is reached: all that are open end
  uint64_t bytes = 0;        // expanded from the top file, at any depth
  uint64_t storedBytes = 0;  // of these, bytes that now lie in temporary files
  std::string memberPath;    // the member last begun, as people see it: archive/member/member
};

#endif  // VESKA_INDEX_EXPANSION_H_

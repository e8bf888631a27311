// The folder that the engine gets for temporary files while contents are read for display.
#pragma once

#include <cstdint>
#include <string>

#include "host/files.h"
#include "host/home.h"

namespace veska {

// Converter output and mail parts lie in the cache of the index's lineage and are used again, so
// readers of contents take turns there: the object holds a lock on the cache until it goes. In a
// home that cannot be written it is a folder of its own under $TMPDIR, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder(const Home& home, uint64_t lineage);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }  // no trailing "/"

 private:
  std::string path_;
  FileDescriptor lock_;
  bool own_ = false;
};

}  // namespace veska

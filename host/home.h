// Where things are. The program keeps all that is its own in one folder:
//
//   HOME/                              --home, else $XDG_DATA_HOME/veska, else ~/.local/share/veska
//     veska.toml                       settings
//     externanalyzers.txt              external converters
//     skipfile.txt                     skip words
//     indexes/default/lock             held by the one writer (flock)
//     indexes/default/tables           symbolic link to the generation in force
//     indexes/default/generation-N/    one saved index: its tables, state.json, problems.json
//     cache/default/LINEAGE/           converter output and mail parts that display needs again
//
// A generation never changes once `tables` points at it. Readers hold a shared lock on the folder
// of the generation that they read; a writer removes only generations that nobody holds. Folders
// are made with mode 0700 and files with 0600, whatever the umask.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/files.h"

namespace veska {

// A generation that is held open: while the object lives, no writer removes the folder.
struct Generation {
  std::string path;  // with a trailing "/", as the engine wants it
  uint64_t number = 0;
  FileDescriptor hold;
};

class Home {
 public:
  // root: absolute path without a trailing "/". Nothing is touched on disk.
  explicit Home(std::string root);

  // The home that `option` (--home; empty when not given) and the environment name.
  static Home resolve(const std::string& option);

  const std::string& root() const { return root_; }
  std::string settingsFile() const { return root_ + "/veska.toml"; }
  std::string convertersFile() const { return root_ + "/externanalyzers.txt"; }
  std::string skipFile() const { return root_ + "/skipfile.txt"; }
  std::string indexFolder() const { return root_ + "/indexes/default"; }
  std::string tablesLink() const { return indexFolder() + "/tables"; }
  std::string lockFile() const { return indexFolder() + "/lock"; }
  std::string cacheFolder() const { return root_ + "/cache/default"; }
  // For converter output and mail parts of all generations of one lineage (State::lineage).
  std::string cacheFolder(uint64_t lineage) const;
  std::string generationFolder(uint64_t number) const;  // without a trailing "/"

  // The number in the link `tables`; 0 when there is no index yet. Fails when the link leads
  // astray.
  uint64_t currentNumber() const;
  // The generation in force, held; nothing when there is no index yet. Needs no right to write.
  std::optional<Generation> openCurrent() const;
  // As above; without an index it fails with "no index yet; make one with: veska index
  // ~/Documents".
  Generation requireCurrent() const;

  // Makes the folders of the home that are missing.
  void create() const;

 private:
  std::string root_;
};

// The absolute path without links and doubled slashes; of what does not exist, the part that exists
// is resolved.
std::string canonicalPath(const std::string& path);

}  // namespace veska

// An index of a few small files, made by the engine as a host makes one, for tests of what reads
// it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/session.h"
#include "tests/support/tempdir.h"

namespace veska::test {

class SmallIndex {
 public:
  // unicode: of Unicode text, not of 8-bit text.
  explicit SmallIndex(bool unicode = false);

  // On disk only; what follows takes them into the index.
  void write(const std::string& name, const std::string& text);  // name: relative, "a/b.txt"
  void remove(const std::string& name);

  void build();   // a new index of all files
  void update();  // prune and compact, as `veska update` does

  // The saved index, opened read-only; any earlier one of this object is gone.
  CVeskaIndex* open();
  Session& session() { return *session_; }

  std::string tables() const { return dir_ / "tables/"; }
  std::string folder() const { return dir_ / "docs"; }
  // The texts on disk by path.
  const std::map<std::string, std::string>& texts() const { return texts_; }

 private:
  void save();

  const bool unicode_;
  TempDir dir_;
  int writes_ = 0;
  std::map<std::string, std::string> texts_;
  std::unique_ptr<Session> session_;
};

}  // namespace veska::test

// The fixture of every case that touches files: a temporary folder of its own, and at the case's
// end the proof that nothing was left over.
#ifndef VESKA_TESTS_SUPPORT_LEAKCHECK_H_
#define VESKA_TESTS_SUPPORT_LEAKCHECK_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"

namespace veska::test {

// The targets of this process's open descriptors and of its file mappings, sorted.
std::vector<std::string> openResources();

// Fails the case if, at its end, a descriptor is open or a file is mapped that was not so at its
// start, or if a file is left in `engineTemp()`. Whatever the case itself holds must be a local of
// the case, so that it is gone by then.
class LeakCheckedTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A path in the case's folder.
  std::string path(std::string_view name) const { return *dir_ / name; }
  // An empty folder to hand to the engine as its directory for temporary files.
  std::string engineTemp() const { return path("engine-temp"); }

 private:
  std::unique_ptr<TempDir> dir_;
  std::vector<std::string> before_;
};

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_LEAKCHECK_H_

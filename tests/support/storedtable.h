// The fixture of cases about one table: its file, and the block in which its buckets are saved.
#ifndef VESKA_TESTS_SUPPORT_STOREDTABLE_H_
#define VESKA_TESTS_SUPPORT_STOREDTABLE_H_

#include <cstdio>
#include <memory>
#include <string>

#include "tests/support/leakcheck.h"
#include "tests/support/reports.h"
#include "tests/support/tablereader.h"

namespace veska::test {

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<FILE, CloseFile>;

template <typename Table>
class StoredTableTest : public LeakCheckedTest {
 protected:
  std::string file() const { return path("table"); }
  std::string block() const { return path("block"); }

  void save(const Table& table) const {
    const Stream out(std::fopen(block().c_str(), "wb"));
    EXPECT_TRUE(table.store(out.get()));
  }
  std::unique_ptr<Table> open() const {
    const Stream in(std::fopen(block().c_str(), "rb"));
    return std::make_unique<Table>(file(), in.get());
  }
};

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_STOREDTABLE_H_

// Damaged tables: the input is a list of changes, 6 bytes each, to the files of a small index:
// which file, where, and what (a byte, a number, or where the file is cut).

#include <fstream>
#include <iterator>

#include "fuzz/fuzzindex.h"
#include "tests/support/exercise.h"

namespace {

namespace fs = std::filesystem;

class Tables {
 public:
  Tables() : folder_(veska::fuzz::topFolder() / "veska-fuzz-XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr) std::abort();
    fs::current_path(folder_);  // where pruning writes its diagnostic
    fs::create_directories(indexPath());
    CVeskaIndex* index = vCreateNewIndex(true, indexPath().c_str());
    vidxNewFileLinks(index);
    for (const char* name : {"/docs", "a.txt", "b.txt"}) {
      const auto id = vfsAddFile(vidxGetFiles(index), name);
      for (const char* word : {"alpha", "beta", name}) vidxIndexWord(index, word, id);
    }
    vidxCompressLinks(index);
    vidxStoreStorage(index, indexPath().c_str());
    vidxClearIndex(index);
    for (std::string& file : good_) file = read(kNames[&file - good_]);
  }
  ~Tables() { fs::remove_all(folder_); }

  void damage(const uint8_t* data, size_t size) {
    std::string files[std::size(kNames)];
    std::copy(std::begin(good_), std::end(good_), files);
    for (; size >= 6; data += 6, size -= 6) {
      std::string& file = files[data[0] % std::size(kNames)];
      const size_t at = (size_t{data[1]} << 8 | data[2]) % (file.size() + 1);
      switch (data[0] >> 6) {
        case 0:
          if (at < file.size()) file[at] = static_cast<char>(data[3]);
          break;
        case 3:
          file.resize(at);
          break;
        default:
          if (at + 3 <= file.size())
            file.replace(at, 3, reinterpret_cast<const char*>(data + 3), 3);
      }
    }
    for (const std::string& file : files) {
      const std::string path = indexPath() + kNames[&file - files];
      fs::remove(path);
      std::ofstream(path, std::ios::binary) << file;
    }
    veska::test::exerciseIndex(indexPath(), folder_ + "/docs");
  }

 private:
  static constexpr const char* kNames[] = {"files", "words", "skipped", "links", "hash"};

  std::string indexPath() const { return folder_ + "/a/b/c/index/"; }
  std::string read(const char* name) const {
    std::ifstream in(indexPath() + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  std::string folder_;
  std::string good_[std::size(kNames)];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Tables tables;
  tables.damage(data, std::min<size_t>(size, size_t{6} * 64));
  return 0;
}

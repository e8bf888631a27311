#include "tests/support/indextest.h"

namespace veska::test {
namespace {

class Registry : public IndexTest {
 protected:
  // Registered names beyond the built-in ones, after reading these bytes.
  Texts externals(const std::string& bytes) {
    const std::string file = config() + "/externanalyzers.txt";
    std::filesystem::remove(file);
    const IndexPtr plain = newIndex();
    writeFile(file, bytes);
    const IndexPtr index = newIndex();
    Texts names;
    for (const auto& [name, analyzer] : index->analyzers) {
      EXPECT_NE(analyzer, nullptr) << name;
      if (!plain->analyzers.contains(name)) names.push_back(name);
    }
    return names;
  }
};

TEST_F(Registry, HoldsTheBuiltInAnalyzers) {
  const IndexPtr index = newIndex();
  for (const char* name :
       {"generic", "macroman", "dosoem", "html", "rtf", "zip", "pdf", "tar", "gzip", "mbox"}) {
    EXPECT_NE(index->analyzerNamed(name), nullptr) << name;
  }
  index->clearAnalyzers();
  EXPECT_TRUE(index->analyzers.empty());
}

TEST_F(Registry, ReadsGroupsOfThreeLines) {
  const std::pair<std::string, Texts> cases[] = {
      {"", {}},
      {"# only\n\n#comments\n", {}},
      {"ps\ntxt\nconv %i %o", {}},  // the last line has no end
      {"ps\ntxt\nconv %i %o\ndvi\n", {"ps"}},
      {"ps\r\ntxt\r\nconv %i %o\r\ndvi\r\ntxt\r\nd %i %o\r\n", {"dvi", "ps"}},
      {"ps\rtxt\rconv %i %o\r", {"ps"}},
      {"\r\nps\r\n\r\n# c\r\ntxt\r\n\r\nconv %i %o\r\n", {"ps"}},
      {"ps  \t # name\n# note\ntxt# output type\nconv %i %o\n", {"ps"}},
      {" ps\ntxt\nconv %i %o\n", {" ps"}},  // leading blanks are kept
      {"ps\ntxt\nfirst %i %o\nps\ntxt\nsecond %i %o\n", {"ps"}},
      {"ps\ntxt\nconv %i %o #\n", {"ps"}},
      {"##\n#\r#\r\nps#\ntxt\nconv %i %o\n", {"ps"}},
  };
  for (const auto& [bytes, names] : cases) EXPECT_EQ(externals(bytes), names) << bytes;
}

TEST_F(Registry, ReplacesABuiltInAnalyzerOfThatNameForLaterPatterns) {
  writeFile(config() + "/externanalyzers.txt", "generic\ntxt\nconv %i %o\n");
  const IndexPtr index = newIndex();
  EXPECT_FALSE(index->analyzerThatMatches("/a.txt")->canUseIndexBuffer()) << "a converter";
}

TEST_F(Registry, FileOf65535BytesIsRefusedAndTheBuiltInAnalyzersStay) {
  const std::string file = config() + "/externanalyzers.txt";
  std::string bytes = "ps\ntxt\nconv %i %o\n";
  bytes.resize(65534, '\n');
  EXPECT_EQ(externals(bytes), Texts{"ps"});
  writeFile(file, bytes + "\n");
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  EXPECT_EQ(raised([&] { vidxCreateAnalyzers(index); }), "externalAnalyzersFileTooBig:" + file);
  EXPECT_NE(index->analyzerNamed("generic"), nullptr);
  EXPECT_EQ(index->analyzerNamed("ps"), nullptr);
}

// An analyzer that tells where it was asked to write.
class Recorder : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;
  bool extractToTempFile(const char*, const char* member, const char* tempPath,
                         unsigned long id) override {
    asked = tempPath;
    return *member != '!' && id != 0;
  }
  std::string asked;
};

TEST_F(Registry, NamesTheTemporaryFileOfAMember) {
  const IndexPtr index = newIndex();
  auto* recorder = new Recorder(index);
  index->analyzers["recorder"] = recorder;
  vidxSetIncludeCount(index, 2);
  vidxSetIncludePattern(index, 0, "*.box", "recorder");
  vidxSetIncludePattern(index, 1, "*.txt", "generic");
  const std::string temp = engineTemp();
  EXPECT_EQ(index->extractToTempFile("/x/a.box", "docs/readme.txt", 7), temp + "/tmp7.txt");
  EXPECT_EQ(index->extractToTempFile("/x/a.box", "README", 7), temp + "/tmp7.README");
  EXPECT_EQ(index->extractToTempFile("/x/a.box", "!no", 7), "");
  EXPECT_EQ(index->extractToTempFile("/x/a.txt", "readme.txt", 7), "") << "no container";
  EXPECT_EQ(index->extractToTempFile("/x/a.zzz", "readme.txt", 7), "") << "no pattern";
  // The extension never leads out of the temporary directory.
  for (const char* member : {"a.b/../../../etc/x", "../../x", "a./../../y"}) {
    recorder->asked.clear();
    index->extractToTempFile("/x/a.box", member, 7);
    EXPECT_EQ(recorder->asked.find('/', temp.size() + 1), std::string::npos) << recorder->asked;
  }
  index->extractToTempFile("/x/a.box", ("a." + std::string(5000, 'e')).c_str(), 7);
  EXPECT_LE(recorder->asked.size(), 1023U);
}

}  // namespace
}  // namespace veska::test

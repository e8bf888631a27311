// Packages: ZIP archives whose parts make one document, whole, odd and damaged.

#include <gtest/gtest.h>

#include <random>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/package.h"
#include "tests/analyzers/documenttext.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using namespace unicode;

std::string partText(Package& package, std::string_view name, size_t piece = 7) {
  const Package::Part* part = package.find(name);
  if (part == nullptr) return "(none)";
  PartInput input(package, *part);
  std::string text;
  std::string buffer(piece, '\0');
  for (size_t got = piece; got == piece;) {
    got = input.read(buffer.data(), piece);
    text += buffer.substr(0, got);
  }
  return text;
}

// The same archive with 64-bit sizes and places: all numbers moved out of their 32-bit fields.
std::string largeArchive(const std::string& name, const std::string& data) {
  const std::string sum = littleEndian(
      crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())), 4);
  const std::string fields = littleEndian(0, 2) + littleEndian(0, 2) + littleEndian(0, 4) + sum;
  const std::string none = littleEndian(0xFFFFFFFF, 4);
  const std::string local = "PK\3\4" + littleEndian(45, 2) + fields + none + none +
                            littleEndian(name.size(), 2) + littleEndian(0, 2) + name + data;
  const std::string extra = littleEndian(1, 2) + littleEndian(24, 2) +
                            littleEndian(data.size(), 8) + littleEndian(data.size(), 8) +
                            littleEndian(0, 8);
  const std::string directory = "PK\1\2" + littleEndian(45, 2) + littleEndian(45, 2) + fields +
                                none + none + littleEndian(name.size(), 2) +
                                littleEndian(extra.size(), 2) + littleEndian(0, 10) + none + name +
                                extra;
  const std::string end = "PK\6\6" + littleEndian(44, 8) + littleEndian(45, 2) +
                          littleEndian(45, 2) + littleEndian(0, 8) + littleEndian(1, 8) +
                          littleEndian(1, 8) + littleEndian(directory.size(), 8) +
                          littleEndian(local.size(), 8);
  return local + directory + end + "PK\6\7" + littleEndian(0, 4) +
         littleEndian(local.size() + directory.size(), 8) + littleEndian(1, 4) + "PK\5\6" +
         littleEndian(0, 4) + littleEndian(0xFFFF, 2) + littleEndian(0xFFFF, 2) + none + none +
         littleEndian(0, 2);
}

TEST(UnicodePackage, FindsPartsWhereverTheArchiveLies) {
  const std::string data(100'000, 'x');
  const std::string archive =
      zipArchive({{"Word/One.xml", "first"}, {"a\\two", "second", false}, {"big", data}});
  for (const std::string& bytes :
       {archive, "#!/bin/sh in front\n" + archive,
        archive.substr(0, archive.size() - 2) + littleEndian(12, 2) + "a PK\5\6 trap!"}) {
    MemoryInput input(bytes);
    Package package(input, 0);
    ASSERT_TRUE(package.isOpen());
    EXPECT_EQ(partText(package, "word/one.XML"), "first");
    EXPECT_EQ(partText(package, "a/two"), "second");
    EXPECT_EQ(partText(package, "big", 4096), data);
    EXPECT_EQ(partText(package, "word"), "(none)");
    EXPECT_EQ(package.outcome(), Outcome::kDone);
  }
  const std::string large = largeArchive("p", "sixty-four bits");
  MemoryInput input(large);
  Package package(input, 0);
  EXPECT_EQ(partText(package, "p"), "sixty-four bits");
  EXPECT_EQ(package.outcome(), Outcome::kDone);
}

TEST(UnicodePackage, TellsWhatIsWrongWithAPart) {
  const auto outcomeOf = [](std::string bytes, uint64_t most) {
    MemoryInput input(bytes);
    Package package(input, most);
    partText(package, "a");
    return package.outcome();
  };
  const std::string archive = zipArchive({{"a", std::string(10'000, 'a')}});
  EXPECT_EQ(outcomeOf(archive, 0), Outcome::kDone);
  EXPECT_EQ(outcomeOf(archive, 10'000), Outcome::kDone);
  EXPECT_EQ(outcomeOf(archive, 9'999), Outcome::kLimited);
  EXPECT_EQ(outcomeOf(zipArchive({{"a", "b", true, 1}}), 0), Outcome::kNeedsPassword);
  std::string wrongSum = zipArchive({{"a", "text", false}});
  wrongSum[wrongSum.find("text")] = 'T';
  EXPECT_EQ(outcomeOf(wrongSum, 0), Outcome::kDamaged);
  EXPECT_EQ(outcomeOf(archive.substr(0, archive.size() - 1), 0), Outcome::kDamaged);
  EXPECT_EQ(outcomeOf("PK\3\4", 0), Outcome::kDamaged);
}

// Nothing comes of an empty part, so that no limit on what is unpacked ends this.
TEST(UnicodePackage, IsSpentByReadingPartsOverAndOver) {
  const std::string archive = zipArchive({{"empty", ""}});
  MemoryInput input(archive);
  Package package(input, 0);
  size_t count = 0;
  while (count < 1'000'000 && !package.isSpent()) {
    partText(package, "empty");
    ++count;
  }
  EXPECT_GT(count, 10'000U);
  EXPECT_EQ(package.outcome(), Outcome::kLimited);
}

TEST(UnicodePackage, ReferencesLeadWithinThePackage) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"", "word/document.xml", "word/document.xml"},
      {"word/document.xml", "media/../notes.xml#x", "word/notes.xml"},
      {"ppt/slides/slide1.xml", "../notes/n%201.xml", "ppt/notes/n 1.xml"},
      {"a/b", "/c//./d", "c/d"},
      {"a/b", "../../../../etc/passwd", "etc/passwd"},
      {"a/b", "100%", "a/100%"},
  };
  for (const auto& [from, reference, part] : cases)
    EXPECT_EQ(resolvePart(from, reference), part) << reference;
}

// Whatever is broken, what is read is valid text and the limit holds.
TEST(UnicodePackage, SurvivesDamageAtEveryPlace) {
  const std::string whole =
      zipArchive({{"[Content_Types].xml", "<Types/>"},
                  {"_rels/.rels",
                   "<Relationships><Relationship Id='1' Type='x/officeDocument' "
                   "Target='word/document.xml'/></Relationships>"},
                  {"word/document.xml", "<w:document><w:p><w:r><w:t>café</w:t></w:r></w:p>"}});
  ASSERT_EQ(readDocument(whole, "a.docx").text, "café\n");
  const unsigned seed = 5;
  std::mt19937 random(seed);
  size_t read = 0;
  for (size_t i = 0; i < whole.size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(random());
    for (const std::string& bytes : {damaged, whole.substr(0, i), whole.substr(i)}) {
      const DocumentText document = readDocument(bytes, "a.docx", {.maxExpanded = 1 << 16});
      ASSERT_EQ(validUtf8Prefix(document.text), document.text.size()) << i << ", seed " << seed;
      read += document.text == "café\n";
    }
  }
  EXPECT_GT(read, whole.size() / 3);
}

}  // namespace
}  // namespace veska::test

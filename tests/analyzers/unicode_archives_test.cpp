// Archives in the Unicode mode: names, members that cannot be read, streams, limits.

#include <bzlib.h>
#include <gmock/gmock.h>
#include <lzma.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <functional>

#include "analyzers/archivereader.h"
#include "storage/filecontents.h"
#include "tests/analyzers/analyzertest.h"
#include "tests/analyzers/documenttext.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veska::unicode::Outcome;

constexpr uint16_t kEncrypted = 1;
constexpr uint16_t kUtf8Name = 1 << 11;

// Fields of a TAR header and where they stand.
using Fields = std::vector<std::pair<size_t, std::string>>;

// A TAR member with such fields, and none of the prefix of tarMember.
std::string tarFile(const std::string& name, const std::string& data, char kind = '0',
                    const Fields& fields = {}) {
  std::string member = tarMember(name, data, kind);
  member.replace(345, 6, 6, '\0');
  for (const auto& [at, text] : fields) member.replace(at, text.size(), text);
  setTarSum(member);
  return member;
}

std::string paxLine(const std::string& text) {
  const size_t rest = text.size() + 2;  // the blank and the line feed
  size_t total = rest + std::to_string(rest).size();
  total = rest + std::to_string(total).size();
  return std::to_string(total) + ' ' + text + '\n';
}

std::string xzPacked(const std::string& bytes) {
  std::string packed(bytes.size() + 1000, '\0');
  size_t size = 0;
  EXPECT_EQ(lzma_easy_buffer_encode(
                1, LZMA_CHECK_CRC32, nullptr, reinterpret_cast<const uint8_t*>(bytes.data()),
                bytes.size(), reinterpret_cast<uint8_t*>(packed.data()), &size, packed.size()),
            LZMA_OK);
  return packed.substr(0, size);
}

// What xzPacked made, as if with a dictionary of 64 MiB.
std::string withLargeDictionary(std::string packed) {
  constexpr size_t kHeader = 12;
  const size_t checked = static_cast<size_t>(packed[kHeader]) * 4;
  packed[packed.find("\x21\x01", kHeader) + 2] = 28;
  const auto sum = static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(&packed[kHeader]), static_cast<uInt>(checked)));
  for (size_t i = 0; i < 4; ++i) packed[kHeader + checked + i] = static_cast<char>(sum >> 8 * i);
  return packed;
}

std::string bzip2Packed(const std::string& bytes) {
  std::string packed(bytes.size() + 1000, '\0');
  auto size = static_cast<unsigned>(packed.size());
  std::string in = bytes;
  EXPECT_EQ(BZ2_bzBuffToBuffCompress(packed.data(), &size, in.data(),
                                     static_cast<unsigned>(in.size()), 1, 0, 0),
            BZ_OK);
  return packed.substr(0, size);
}

std::string zstdPacked(const std::string& bytes) {
  std::string packed(ZSTD_compressBound(bytes.size()), '\0');
  packed.resize(ZSTD_compress(packed.data(), packed.size(), bytes.data(), bytes.size(), 1));
  return packed;
}

class UnicodeArchives : public AnalyzerTest {
 protected:
  void SetUp() override {
    AnalyzerTest::SetUp();
    useUnicode();
  }
};

TEST_F(UnicodeArchives, WhatCannotBeOpenedIsPassedOver) {
  std::string zip = zipArchive({{"docs/", ""},
                                {"one.txt", "alpha"},
                                {"locked.txt", "secret", true, kEncrypted},
                                {"bad.txt", "broken"},
                                {"last.txt", "omega"}});
  zip.replace(zip.rfind("PK\3\4", zip.find("bad.txt")), 4, "XXXX");
  EXPECT_TRUE(indexNew("a.zip", zip));
  EXPECT_EQ(seenIn("alpha"), "a.zip//one.txt");
  EXPECT_EQ(seenIn("omega"), "a.zip//last.txt");
  EXPECT_EQ(seenIn("secret") + seenIn("broken"), "");
  EXPECT_EQ(record("a.zip//docs/"), 0U);
  EXPECT_EQ(extracted("a.zip", "last.txt"), "omega");
  EXPECT_EQ(extracted("a.zip", "locked.txt"), "none");
  EXPECT_THAT(problems(),
              ElementsAre("PasswordNeeded a.zip/locked.txt", "MemberFailed a.zip/bad.txt"));
  // The last byte of a member's check sum, in its header and in the directory.
  std::string wrongSum = zipArchive({{"sum.txt", "gamma"}, {"next.txt", "delta"}});
  wrongSum[17] ^= 1;
  wrongSum[wrongSum.find("PK\1\2") + 19] ^= 1;
  EXPECT_TRUE(indexNew("b.zip", wrongSum));
  EXPECT_EQ(seenIn("gamma") + seenIn("delta"), "b.zip//sum.txtb.zip//next.txt");
  EXPECT_EQ(problems().back(), "MemberFailed b.zip/sum.txt");
  EXPECT_TRUE(indexNew("c.zip", "no archive at all"));
  EXPECT_EQ(problems().back(), "Damaged c.zip");
}

TEST_F(UnicodeArchives, NamesInZipAreUtf8OrCodePage437) {
  EXPECT_TRUE(indexNew("a.zip", zipArchive({{"caf\xC3\xA9.txt", "one", true, kUtf8Name},
                                            {"na\xC3\xAFve.txt", "two"},
                                            {"caf\x82.doc.txt", "three"}})));
  EXPECT_EQ(seenIn("one"), "a.zip//café.txt");
  EXPECT_EQ(seenIn("two"), "a.zip//naïve.txt");
  EXPECT_EQ(seenIn("three"), "a.zip//café.doc.txt");
  EXPECT_EQ(extracted("a.zip", "café.doc.txt"), "three");
  // The extra field of the name in UTF-8 holds while its check sum does.
  for (const bool right : {true, false}) {
    std::string zip = zipArchive({{"x.txt", "four"}});
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(right ? "x.txt" : "y.txt"), 5);
    std::string extra("\x75\x70\x0A\x00\x01", 5);
    for (int i = 0; i < 4; ++i) extra += static_cast<char>(sum >> (8 * i));
    extra += "東.t";
    extra[2] = static_cast<char>(extra.size() - 4);
    const size_t entry = zip.find("PK\1\2");
    zip.insert(entry + 46 + 5, extra);
    zip[entry + 30] = static_cast<char>(extra.size());
    zip[zip.rfind("PK\5\6") + 12] = static_cast<char>(46 + 5 + extra.size());
    const std::string name = right ? "r.zip" : "w.zip";
    EXPECT_TRUE(indexNew(name, zip));
    EXPECT_EQ(seenIn("four"), name + (right ? "//東.t" : "//x.txt"));
  }
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(UnicodeArchives, TarHeadersOfEveryDialectAreRead) {
  const std::string longName = std::string(150, 'd') + "/long.txt";
  const std::string binarySize("\x80\0\0\0\0\0\0\0\0\0\0\x05", 12);
  const std::string pax = paxLine("path=pax/東.txt") + paxLine("mtime=1700000000.5") +
                          paxLine("size=6") + paxLine("other=x");
  const std::string archive =
      tarFile("folder/", "", '5') + tarFile("prefixed.txt", "one", '0', {{345, "pre/fix"}}) +
      tarFile("././@LongLink", longName + '\0', 'L') + tarFile("cut", "two") +
      tarFile("pax_header", pax, 'x') + tarFile("short", "three!", '0', {{124, "00000000777"}}) +
      tarFile("g", paxLine("path=global"), 'g') +
      tarFile("binary.txt", "fours", 0, {{124, binarySize}}) +
      tarFile("link.txt", "", '2', {{124, "00000001000"}}) +
      tarFile("v7.txt", "five", 0, {{257, std::string(8, '\0')}}) +
      tarFile("latin\xE9.txt", "six") + tarEnd();
  EXPECT_TRUE(indexNew("a.tar", archive));
  EXPECT_THAT(records(), ElementsAre("a.tar", "a.tar//pre/fix/prefixed.txt", "a.tar//" + longName,
                                     "a.tar//pax/東.txt", "a.tar//binary.txt", "a.tar//v7.txt",
                                     "a.tar//latiné.txt"));
  EXPECT_EQ(seenIn("three"), "a.tar//pax/東.txt");
  EXPECT_EQ(seenIn("fours"), "a.tar//binary.txt");
  EXPECT_EQ(seenIn("six"), "a.tar//latiné.txt");
  EXPECT_EQ(info("a.tar//pax/東.txt").time, 1'700'000'000);
  EXPECT_EQ(info("a.tar//pax/東.txt").size, 6U);
  EXPECT_EQ(extracted("a.tar", longName), "two");
  EXPECT_THAT(problems(), IsEmpty());
  // No header, though the sum of its signed bytes is the number in front of the letters.
  std::string chance = std::string(148, '\xFF') + "2 chance" + std::string(106, '\xFF');
  chance.resize(512);
  EXPECT_FALSE(isTar(chance));
}

TEST_F(UnicodeArchives, DamagedTarKeepsWhatCameBefore) {
  const std::string good = tarFile("one.txt", "alpha");
  const std::string lies[] = {
      good + std::string(512, 'x'),
      good + tarFile("cut.txt", "word", '0', {{124, "77777777777"}}),
      good + tarFile("huge.txt", "", '0', {{124, std::string("\x80\x7F\xFF\xFF", 4)}}),
      good + tarFile("negative.txt", "", '0', {{124, std::string(12, '\xFF')}}),
      good + tarFile("././@LongLink", "", 'L', {{124, "77777777777"}}),
      good.substr(0, 512 + 2),
  };
  int number = 0;
  for (const std::string& lie : lies) {
    const std::string name = std::to_string(number++) + ".tar";
    EXPECT_TRUE(indexNew(name, lie));
    EXPECT_NE(record(name + "//one.txt"), 0U);
    ASSERT_FALSE(problems().empty()) << name;
    EXPECT_EQ(problems().back(), "Damaged " + name);
  }
}

TEST_F(UnicodeArchives, EachCompressionIsReadWithAndWithoutTar) {
  const struct {
    std::string extension;
    std::string tarExtension;
    std::function<std::string(const std::string&)> pack;
  } formats[] = {{".gz", ".tgz", [](const std::string& bytes) { return gzipped(bytes); }},
                 {".xz", ".txz", xzPacked},
                 {".bz2", ".tbz2", bzip2Packed},
                 {".zst", ".tzst", zstdPacked}};
  for (const auto& format : formats) {
    const std::string mark = format.extension.substr(1);
    // Two streams, a zero block between them.
    const std::string packed = format.pack(std::string(300000, ' ') + "alpha" + mark);
    const std::string name = "notes.txt" + format.extension;
    EXPECT_TRUE(indexNew(name, packed + std::string(4, '\0') + format.pack("more omega" + mark)));
    EXPECT_EQ(seenIn(("alpha" + mark + "more").c_str()), name + "//notes.txt");
    EXPECT_EQ(seenIn(("omega" + mark).c_str()), name + "//notes.txt");
    EXPECT_EQ(info(name + "//notes.txt").size, 300000U + 15 + 2 * mark.size());
    EXPECT_EQ(info(name + "//notes.txt").time, 1'000'000);
    EXPECT_EQ(extracted(name, "notes.txt").size(), 300000U + 15 + 2 * mark.size());

    const std::string tar = format.pack(tarFile("in/deep.txt", "inside" + mark) + tarEnd());
    for (const std::string& extension : {".tar" + format.extension, format.tarExtension}) {
      EXPECT_TRUE(indexNew("src" + extension, tar));
      EXPECT_EQ(seenIn(("inside" + mark).c_str()), "src" + extension + "//src.tar//in/deep.txt");
    }
    // Without any name.
    EXPECT_TRUE(indexNew(format.tarExtension, tar));
    EXPECT_EQ(seenIn(("inside" + mark).c_str()), format.tarExtension + "//data.tar//in/deep.txt");
    // Without a telling name.
    EXPECT_TRUE(indexNew("data" + mark, tar));
    EXPECT_EQ(seenIn(("inside" + mark).c_str()), "data" + mark + "//data" + mark);
    EXPECT_EQ(extracted("data" + mark, "any").size(), 512U * 2 + 1024);
    EXPECT_TRUE(indexNew("plain.txt" + format.extension, "not packed" + mark));
    EXPECT_EQ(seenIn(("packed" + mark).c_str()), "plain.txt" + format.extension + "//plain.txt");
    EXPECT_THAT(problems(), IsEmpty());
  }
  for (const auto& format : formats) {
    const std::string packed = format.pack(std::string(300000, 'x') + " and so on");
    const std::string name = "cut.txt" + format.extension;
    EXPECT_TRUE(indexNew(name, packed.substr(0, packed.size() - 5)));
    EXPECT_EQ(problems().back(), "MemberFailed " + name + "/cut.txt");
  }
}

// Each layer of an archive packed many times over wants a dictionary of its own.
TEST_F(UnicodeArchives, LayersShareTheirMemory) {
  std::string packed = "alpha";
  for (int layer = 0; layer < 3; ++layer) packed = withLargeDictionary(xzPacked(packed));
  EXPECT_TRUE(indexNew("a.txt.xz.xz.xz", packed));
  EXPECT_EQ(seenIn("alpha"), "");
  EXPECT_THAT(problems(), ElementsAre("MemberFailed a.txt.xz.xz.xz/a.txt.xz.xz/a.txt.xz/a.txt"));
  const std::string two = withLargeDictionary(xzPacked(withLargeDictionary(xzPacked("beta"))));
  EXPECT_TRUE(indexNew("b.txt.xz.xz", two));
  EXPECT_EQ(seenIn("beta"), "b.txt.xz.xz//b.txt.xz//b.txt");
}

TEST_F(UnicodeArchives, LimitsCutWhatExpands) {
  index().maxMemberBytes = 300'000;
  const std::string big = "alpha " + std::string(1 << 20, ' ') + "omega";
  EXPECT_TRUE(indexNew("a.txt.xz", xzPacked(big)));
  EXPECT_EQ(seenIn("alpha") + seenIn("omega"), "a.txt.xz//a.txt");
  EXPECT_EQ(info("a.txt.xz//a.txt").size, 300'000U);
  index().maxMemberBytes = 0;
  index().maxArchiveBytes = 2'000'000;
  EXPECT_TRUE(indexNew("b.zip", zipArchive({{"1.txt", big}, {"2.txt", big}, {"3.txt", "never"}})));
  EXPECT_EQ(seenIn("never"), "");
  EXPECT_THAT(problems(), ElementsAre("LimitReached a.txt.xz/a.txt", "LimitReached b.zip/2.txt"));
  // What stands in a TAR as it is does not expand.
  EXPECT_TRUE(
      indexNew("c.tar", tarFile("1.txt", big + big) + tarFile("2.txt", "never") + tarEnd()));
  EXPECT_EQ(seenIn("never"), "c.tar//2.txt");
}

// Neither reading them nor showing their members takes a copy of what lies between.
TEST_F(UnicodeArchives, WithinArchivesAreGoneThroughWhereTheyStand) {
  index().maxMemberBytes = 10'000;
  const std::string tgz = gzipped(tarFile("b/deep.txt", "inner words\n") + tarEnd());
  const std::string padding = std::string(4900, 'p');
  const std::string tar = tarFile("1.txt", padding) + tarFile("2.txt", padding);
  EXPECT_TRUE(indexNew("out.tar.xz", xzPacked(tar + tarFile("x.tgz", tgz) + tarEnd())));
  const std::string deep = "out.tar.xz//out.tar//x.tgz//x.tar//b/deep.txt";
  EXPECT_EQ(seenIn("inner"), deep);
  index().maxNesting = 0;  // what is indexed is shown
  CFileContents contents(&index(), record(deep), 1000, 80, true, 0);
  EXPECT_STREQ(contents.contents(), "inner words\n");
  index().maxNesting = 10;
  // The copy that is shown is no further part of what expands.
  const std::string large(150'000, ' ');
  index().maxMemberBytes = 0;
  index().maxArchiveBytes = 160'000;
  EXPECT_TRUE(indexNew("fits.tar.gz", gzipped(tarFile("1.txt", large + "end\n") + tarEnd())));
  CFileContents whole(&index(), record("fits.tar.gz//fits.tar//1.txt"), 1000, 0, true, 0);
  EXPECT_THAT(whole.contents(), testing::EndsWith("end\n"));
  EXPECT_THAT(problems(), IsEmpty());
  // What a limit cuts is told of the archive that it cut.
  index().maxArchiveBytes = 7000;
  EXPECT_TRUE(indexNew("cut.tar.gz", gzipped(tar + tarEnd())));
  EXPECT_THAT(problems(), ElementsAre("LimitReached cut.tar.gz/cut.tar"));
}

TEST_F(UnicodeArchives, ArchivesThatTheirBytesTellAreGoneThroughLikewise) {
  include({{"*.tar", "tar"}, {"*.gz", "gzip"}, {"*.tgz", "gzip"}, {"*", "generic"}});
  index().maxMemberBytes = 5000;
  const std::string padding = std::string(4900, ' ');
  const std::string tar = tarFile("1.txt", padding) + tarFile("2.txt", padding);
  EXPECT_TRUE(indexNew("out.tar.xz", xzPacked(tar + tarFile("3.txt", "found\n") + tarEnd())));
  EXPECT_EQ(seenIn("found"), "out.tar.xz//out.tar//3.txt");
  CFileContents contents(&index(), record("out.tar.xz//out.tar//3.txt"), 1000, 80, true, 0);
  EXPECT_STREQ(contents.contents(), "found\n");
  EXPECT_THAT(problems(), IsEmpty());
}

// What is left of it is shown.
TEST_F(UnicodeArchives, DamageAroundAMemberIsToldWhenItIsShown) {
  std::string noise;
  for (unsigned i = 0; i < 60'000; ++i) noise += static_cast<char>('a' + (i * i >> 5) % 26);
  const std::string inner = gzipped(tarFile("n.txt", noise) + tarEnd());
  const std::string outer = gzipped(tarFile("x.tgz", inner) + tarEnd());
  EXPECT_TRUE(indexNew("cut.tgz", outer.substr(0, outer.size() / 2)));
  const std::string layers[] = {"MemberFailed cut.tgz/cut.tar/x.tgz/x.tar",
                                "MemberFailed cut.tgz/cut.tar"};
  EXPECT_THAT(problems(), ElementsAre(layers[0], layers[1]));
  const uint32_t member = record("cut.tgz//cut.tar//x.tgz//x.tar//n.txt");
  CFileContents contents(&index(), member, 100'000, 80, true, 0);
  EXPECT_STRNE(contents.contents(), "");
  EXPECT_THAT(problems(), ElementsAre(layers[0], layers[1], layers[0], layers[1]));
}

// A directory of a few kB could have the same bytes unpacked for hours, to no text at all.
TEST_F(UnicodeArchives, MembersThatShareTheirBytesAreReadSomeTimesOnly) {
  std::vector<ZipMember> members = {{"100", "shared " + std::string(20'000, ' '), false}};
  for (int i = 1; i < 100; ++i)
    members.push_back({std::to_string(100 + i), members[0].data, false, 0, 0});
  const std::string zip = zipArchive(members);
  unicode::MemoryInput input(zip);
  const std::unique_ptr<ArchiveReader> reader = openZip(input, "many.zip");
  int opened = 0;
  int refused = 0;
  while (reader->next()) ++(reader->open() == ArchiveReader::Opened::kYes ? opened : refused);
  EXPECT_GT(opened, 1);
  EXPECT_GT(refused, 50);
}

TEST_F(UnicodeArchives, AreDocumentsWhereNoRecordIsMade) {
  const std::string tgz = gzipped(tarFile("b/deep.txt", "inner words\n") + tarEnd());
  const std::string zip =
      zipArchive({{"a.txt", "outer words\n"}, {"x.tgz", tgz}, {"n", "", true, kEncrypted}});
  const DocumentText document = readStream(zip, "any");
  EXPECT_EQ(document.text,
            "a.txt\n\nouter words\n\nx.tgz\n\nx.tar\n\nb/deep.txt\n\ninner words\n\nn\n");
  EXPECT_EQ(document.outcome, Outcome::kNeedsPassword);
  // As many layers as anybody wants: they end somewhere.
  std::string layers = "innermost";
  for (int i = 0; i < 40; ++i) layers = gzipped(layers);
  EXPECT_EQ(readStream(layers, "any").outcome, Outcome::kLimited);
}

}  // namespace
}  // namespace veska::test

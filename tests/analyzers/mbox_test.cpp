#include <gmock/gmock.h>
#include <unistd.h>

#include <ctime>

#include "analyzers/mailscan.h"
#include "analyzers/mboxanalyzer.h"
#include "tests/analyzers/analyzertest.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

class Mbox : public AnalyzerTest {
 protected:
  void SetUp() override {
    AnalyzerTest::SetUp();
    useCache();
  }
};

constexpr const char* kDate = "Date: Mon, 15 Nov 2021 09:18:45 +0000\n";
constexpr const char* kSent = "2021-11-15 09:18:45";

std::string message(const std::string& sender, const std::string& body) {
  return "From " + sender + " Mon Nov 15 09:18:45 2021\nFrom: <" + sender + ">\n" + kDate + "\n" +
         body + "\n";
}

std::string attachment(const std::string& name, const std::string& base64) {
  return "--b\nContent-Type: text/plain\nContent-Transfer-Encoding: base64\n"
         "Content-Disposition: attachment;\n filename=\"" +
         name + "\"\n\n" + base64 + "\n\n";
}

std::string withCrLf(const std::string& text) {
  std::string result;
  for (const char c : text) result += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return result;
}

std::vector<MailPart> parts(std::string_view mailbox) {
  std::vector<MailPart> found;
  scanMailbox(mailbox, [&found](const MailPart& part) { found.push_back(part); });
  return found;
}

TEST_F(Mbox, MessagesAreNamedBySenderAndDate) {
  EXPECT_TRUE(indexNew("in.mbox", message("ann@a.org", "alpha ") +
                                      "From bob\nFrom:   Bob Builder\n" + kDate + "\nbeta \n"));
  EXPECT_THAT(records(),
              ElementsAre("in.mbox", std::string("in.mbox//ann@a.org ") + kSent + "-0.txt",
                          std::string("in.mbox//Bob Builder ") + kSent + "-0.txt"));
  EXPECT_EQ(seenIn("alpha"), records()[1]);
  EXPECT_EQ(seenIn("beta"), records()[2]);
  EXPECT_EQ(index().contentsIndexed, 3U);
  EXPECT_EQ(index().filesIndexed, 2U);
  // From the blank of "From " to the next message; the last ends one byte early.
  EXPECT_THAT(cached(records()[1], "txt"), StartsWith(" ann@a.org Mon"));
  EXPECT_THAT(cached(records()[1], "txt"), EndsWith("alpha \n"));
  EXPECT_THAT(cached(records()[2], "txt"), EndsWith("beta "));
}

TEST_F(Mbox, AMessageWithoutSenderOrDateIsLeftOut) {
  EXPECT_TRUE(indexNew("in.mbox", "From x\nFrom: <x@x>\n\nundated \n" + message("ok@x", "kept ") +
                                      "From y\n" + kDate + "\nnobody \n"));
  EXPECT_EQ(records().size(), 2U);
  EXPECT_EQ(seenIn("undated") + seenIn("nobody"), "");
}

TEST_F(Mbox, AttachmentsAreDecodedAndNumberedOneThreeFive) {
  include({{"*.mbox", "mbox"}, {"*.txt", "generic"}, {"*.TXT", "generic"}});
  const std::string mail =
      message("ann@a.org", "text \n" + attachment("a.txt", "b25lIA==") +
                               attachment("b.png", "AAAA") + attachment("nodot", "AAAA") +
                               attachment("c.TXT", "dGhy\nZWUg") + "trailing ");
  for (const bool crLf : {false, true}) {
    const std::string box = crLf ? "crlf.mbox" : "lf.mbox";
    EXPECT_TRUE(indexNew(box, crLf ? withCrLf(mail) : mail));
    const std::string start = box + "//ann@a.org " + kSent;
    // The one without an analyzer leaves no record, the one without an extension counts once.
    EXPECT_EQ(seenIn("text"), start + "-0.txt");
    EXPECT_EQ(seenIn("one"), start + "-1.txt");
    EXPECT_EQ(seenIn("three"), start + "-6.TXT");
    EXPECT_EQ(record(start + "-3.png"), 0U);
    EXPECT_EQ(cached(start + "-1.txt", "txt"), "one ");
    EXPECT_THAT(cached(start + "-0.txt", "txt"),
                EndsWith(crLf ? "text/plain\r\n" : "text/plain\n"));
  }
  EXPECT_EQ(seenIn("trailing"), "");
}

TEST_F(Mbox, ABase64PartWithoutAFileNameHidesTheMessage) {
  const std::string far = "Content-Transfer-Encoding: base64\n" + std::string(12, '\n');
  EXPECT_THAT(parts(message("a@a", far + "filename=\"x.txt\"\n\nAAAA\n\n")), IsEmpty());
  const std::string near = "Content-Transfer-Encoding: base64\n" + std::string(10, '\n');
  EXPECT_EQ(parts(message("a@a", near + "filename=\"x.txt\"\n\nAAAA\n\n")).size(), 2U);
  EXPECT_EQ(parts(message("a@a", far) + message("b@b", "text")).size(), 1U);
  EXPECT_THAT(parts("From x\nContent-Transfer-Encoding: base64\n" + message("a@a", "t").substr(7)),
              IsEmpty());
}

TEST_F(Mbox, OnlyTheBeginningOfAMailboxIsLookedAt) {
  index().maxPerFileRead = 500;
  const std::string first = message("a@a", std::string(1400 - 90, 'x') + " early ");
  EXPECT_TRUE(indexNew("in.mbox", first + message("b@b", std::string(500, 'y'))));
  EXPECT_EQ(records().size(), 3U);
  EXPECT_EQ(info(records()[2]).size, 1500 - first.size() - 4 - 1);
  index().maxPerFileRead = ULONG_MAX;
  EXPECT_TRUE(indexAgain("in.mbox"));
}

TEST_F(Mbox, CachedPartsMeetTheLimitOfAMemberInWholeBlocks) {
  std::string mailbox;
  for (int i = 0; i < 30; ++i) mailbox += message(std::to_string(i) + "@x", "body ");
  index().maxMemberBytes = 80'000;
  EXPECT_TRUE(indexNew("in.mbox", mailbox));
  EXPECT_EQ(records().size(), 1U + 20);  // of 4096 bytes each
  EXPECT_EQ(listTree(path("cache")).size(), 20U);
  ASSERT_EQ(problems().size(), 1U);
  EXPECT_THAT(problems()[0], StartsWith("LimitReached in.mbox/19@x"));
}

TEST_F(Mbox, AnUpdatePassesOverWhatIsKnownAndNotNewer) {
  indexNew("in.mbox", message("a@a", "first "));
  index().isUpdate = true;
  index().timeBase = info(records()[1]).time;
  indexNew("in.mbox", message("a@a", "second ") + message("b@b", "third "));
  EXPECT_EQ(seenIn("second"), "");
  EXPECT_NE(seenIn("third"), "");
}

TEST_F(Mbox, PartsAreShownFromTheirCache) {
  indexNew("in.mbox", message("a@a", "alpha "));
  const std::string name = records()[1];
  const std::string member = name.substr(name.find("//") + 2);
  const std::string container = files() + "/in.mbox";
  const std::string shown =
      index().extractToTempFile(container.c_str(), member.c_str(), record(name));
  ASSERT_NE(shown, "");
  EXPECT_EQ(readFile(shown), cached(name, "txt"));
  EXPECT_EQ(index().extractToTempFile(container.c_str(), member.c_str(), 99), "");
}

TEST_F(Mbox, DatesAreReadInEitherOrder) {
  struct tm local = {};
  strptime("2021-11-15 09:18:45", "%Y-%m-%d %H:%M:%S", &local);
  local.tm_isdst = -1;
  const long sent = mktime(&local);
  for (const char* text :
       {" Mon, 15 Nov 2021 09:18:45 +0000", "15 Nov 2021 09:18:45",
        "\tMonday Nov 15 2021 9:18:45 x", " Mon,\r\n 15 November 2021\r\n\t09:18:45"}) {
    EXPECT_EQ(CMBoxAnalyzer::parseAsctime(text), sent) << text;
  }
  for (const char* text : {"", "   ", "Mon", "Mon, 15 nov 2021", "Mon, 15 anF 2021",
                           "gibberish all over", "Mon, 15"}) {
    EXPECT_EQ(CMBoxAnalyzer::parseAsctime(text), 0) << text;
  }
  EXPECT_EQ(CMBoxAnalyzer::parseAsctime("1 Jan 99999999999999999999 99999999999:0:0"), INT32_MAX);
  EXPECT_EQ(CMBoxAnalyzer::parseAsctime("1 Jan 1 0:0:0"), INT32_MIN);
}

TEST_F(Mbox, SendersAreFoundInFoldedHeadersAndCutToFit) {
  const auto nameOf = [](const std::string& from) {
    return CMBoxAnalyzer::makeFileName(from, 0, "txt", 0);
  };
  const std::string rest = nameOf("");
  EXPECT_EQ(nameOf(" \"A. Very Long Name\"\r\n <a@b.c> (x)"), "a@b.c" + rest);
  EXPECT_EQ(nameOf("  a@b.c\r\n (x)"), "a@b.c" + rest);
  EXPECT_EQ(nameOf("\r\n a@b.c"), "a@b.c" + rest);
  EXPECT_EQ(nameOf(" open <a@b.c"), "open <a@b.c" + rest);
  const std::string longest(300, 's');
  EXPECT_EQ(nameOf(longest), std::string(256 - 3 - 3 - 22, 's') + rest);
  EXPECT_EQ(CMBoxAnalyzer::makeFileName(longest, 0, "txt", 1234567).size(), 254U);
}

TEST_F(Mbox, ExtensionsHoldLettersAndDigitsOnly) {
  for (const auto& [name, extension] : std::vector<std::pair<std::string, std::string>>{
           {"a.tar.gz", "gz"},
           {"a.p/x", "p"},
           {"a./etc/passwd", ""},
           {"a.b c", "b"},
           {"a." + std::string(40, 'e'), std::string(19, 'e')}}) {
    const std::string mailbox = message("a@a", attachment(name, "AAAA"));
    const auto found = parts(mailbox);
    ASSERT_EQ(found.size(), 2U) << name;
    EXPECT_EQ(found[1].extension, extension) << name;
  }
}

TEST_F(Mbox, ANewMessageEndsAnAttachmentThatNoEmptyLineEnds) {
  std::string mail = message("a@a", attachment("x.txt", "b25lIA=="));
  mail.resize(mail.find("b25lIA==") + 9);
  const std::string mailbox = mail + message("b@b", "second ");
  const auto found = parts(mailbox);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[1].data, "b25lIA==\n");
  EXPECT_EQ(found[2].number, 0);
}

TEST_F(Mbox, Base64PassesOverWhatStandsForNoValue) {
  const std::pair<const char*, const char*> cases[] = {
      {"YQ==", "a"},
      {"Y", ""},
      {"", ""},
      {"\n\nYQ==\n\nYWJj", "a"},
      {"YWJj\r\n\r\nYWJj", "abc"},
      {"YWJj\xFF\x80\x01YWJj", "abcabc"},
  };
  for (const auto& [text, wanted] : cases) {
    for (const size_t piece : {1UL, 2UL, 100UL}) {
      Base64Reader reader(text);
      std::string bytes;
      char buffer[100];
      while (const size_t got = reader.read(buffer, piece)) bytes.append(buffer, got);
      EXPECT_EQ(bytes, wanted) << text;
    }
  }
}

// Each copy has its exact size on the heap, so that a read beyond its end is found.
TEST_F(Mbox, AMailboxMayEndAnywhereAndHoldAnything) {
  const std::string whole = message("a@a", "text \n" + attachment("a.txt", "b25lIA==")) +
                            std::string("\0\0\n", 3) + message("b@b", "more ") +
                            "From:\nDate:\nContent-Transfer-Encoding: base64";
  for (size_t length = 0; length <= whole.size(); ++length) {
    const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<long>(length));
    for (const MailPart& part : parts({cut.data(), cut.size()})) {
      CMBoxAnalyzer::parseAsctime(part.date);
      CMBoxAnalyzer::makeFileName(part.from, 0, part.extension, part.number);
    }
    std::string damaged = whole;
    if (length < whole.size()) damaged[length] = '\0';
    parts(damaged);
  }
}

}  // namespace
}  // namespace veska::test

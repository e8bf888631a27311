// Mailboxes: where their messages begin, their records, and how they are found again.

#include <gmock/gmock.h>

#include <random>

#include "analyzers/unicode/mailbox.h"
#include "storage/filecontents.h"
#include "tests/analyzers/analyzertest.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace veska::unicode;

std::vector<std::string> messagesOf(const std::string& mailbox, size_t piece = 1000) {
  MemoryInput input(mailbox);
  MailboxReader reader(input);
  std::vector<std::string> messages;
  while (reader.next()) {
    std::string message;
    for (size_t got = piece; got == piece;) {
      message.resize(message.size() + piece);
      got = reader.read(message.data() + message.size() - piece, piece);
      message.resize(message.size() - piece + got);
    }
    messages.push_back(message);
  }
  return messages;
}

TEST(MailboxReader, TellsSeparatorsFromText) {
  const std::string date = "From a@b Mon Nov 15 09:18:45 2026\n";
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"", {}},
      {"\n\n", {}},
      {std::string(300'000, '\n') + "A: 1\n", {"A: 1\n"}},
      {date + "A: 1\n\none\n\n" + date + "B: 2\n\ntwo", {"A: 1\n\none\n\n", "B: 2\n\ntwo"}},
      {"From a\r\nA: 1\r\n\r\none\r\n\r\nFrom b\r\nB: 2\r\n",
       {"A: 1\r\n\r\none\r\n\r\n", "B: 2\r\n"}},
      // No empty line, but a date; no header behind it; no date; not at a line's beginning.
      {date + "A: 1\n\none\n" + date + "B: 2\n", {"A: 1\n\none\n", "B: 2\n"}},
      {date + "A: 1\n\n" + date + "is text\n", {"A: 1\n\n" + date + "is text\n"}},
      {date + "A: 1\n\none\nFrom now on\nNote: two\n", {"A: 1\n\none\nFrom now on\nNote: two\n"}},
      {date + "A: 1\n\n\n>From b\nNote: two\n", {"A: 1\n\n\n>From b\nNote: two\n"}},
      // A message alone.
      {"A: 1\n\none\n", {"A: 1\n\none\n"}},
      {date + date + "A: 1\n", {date, "A: 1\n"}},
  };
  for (const auto& [mailbox, messages] : cases) EXPECT_EQ(messagesOf(mailbox), messages) << mailbox;
}

TEST(MailboxReader, FindsSeparatorsWhereverBlocksEnd) {
  std::mt19937 random(7);
  for (int round = 0; round < 30; ++round) {
    std::vector<std::string> wanted;
    std::string mailbox;
    for (int i = 0; i < 12; ++i) {
      std::string message = "A: 1\n\n";
      const size_t bytes = random() % 60000;
      while (message.size() < bytes)
        message +=
            random() % 3 == 0 ? std::string("From \n") : std::string(random() % 80, 'x') + '\n';
      message += '\n';
      mailbox += "From a Mon Nov 15 09:18:45 2026\n" + message;
      wanted.push_back(message);
    }
    EXPECT_EQ(messagesOf(mailbox, 1 + random() % 100000), wanted) << round;
  }
}

TEST(MessageName, HoldsSenderDateAndNumber) {
  const std::pair<std::string, std::string> cases[] = {
      {"From: Ann <a@b>\nDate: 15 Nov 2026 09:18:45 +0100\n", "a@b 2026-11-15 09:18:45-7.eml"},
      {"From: =?utf-8?Q?J=C3=B6rg?=\n", "Jörg 2025-01-02 03:04:05-7.eml"},
      {"Subject: x\n", "env@x 2025-01-02 03:04:05-7.eml"},
      {"From: a/b\\c\x01\n", "a_b_c_ 2025-01-02 03:04:05-7.eml"},
  };
  int64_t time = 0;
  for (const auto& [head, name] : cases)
    EXPECT_EQ(messageName(head, "env@x Thu Jan  2 03:04:05 2025\n", 7, &time), name);
  EXPECT_EQ(messageName("", "", 12, &time), "unknown-12.eml");
  EXPECT_EQ(time, 0);
  const std::string cut = messageName("From: " + std::string(400, '\xC3') + "\n", "", 1, &time);
  EXPECT_LE(cut.size(), 255U);
  EXPECT_TRUE(cut.ends_with("-1.eml"));
  EXPECT_EQ(messageNumber("a-b-12.eml"), 12U);
  EXPECT_EQ(
      messageNumber("a-b.eml") + messageNumber("12") + messageNumber("-99999999999999999999.eml"),
      0U);
}

class UnicodeMailbox : public AnalyzerTest {
 protected:
  void SetUp() override {
    AnalyzerTest::SetUp();
    useUnicode();
  }
};

const std::string kOne =
    "From: a@b\nDate: 15 Nov 2026 09:18:45\nSubject: first\n\nalpha omega1\n\n";
const std::string kTwo = "From: a@b\nDate: 15 Nov 2026 09:18:45\nSubject: other\n\nbeta\n";
const std::string kThree = "From: c@d\nDate: 16 Nov 2026 09:18:45\nSubject: third\n\nlastword";
const std::string kOpening = "From x Mon Nov 15 09:18:45 2026\n";
const std::string kMailbox = kOpening + kOne + kOpening + kTwo + "\n" + kOpening + kThree;

TEST_F(UnicodeMailbox, MessagesAreMembersAndFoundAgain) {
  const std::string one = "a@b 2026-11-15 09:18:45-1.eml";
  const std::string two = "a@b 2026-11-15 09:18:45-2.eml";
  const std::string three = "c@d 2026-11-16 09:18:45-3.eml";
  index().maxPerFileRead = 100;  // of each message, not of the mailbox
  for (const std::string name : {"in.mbox", "inbox", "Sent.2026"}) {
    EXPECT_TRUE(indexNew(name, kMailbox));
    EXPECT_EQ(seenIn("omega1"), name + "//" + one);
    EXPECT_EQ(seenIn("other"), name + "//" + two);
    EXPECT_EQ(seenIn("lastword"), name + "//" + three);
    EXPECT_EQ(info(name + "//" + one).size, kOne.size());
    EXPECT_EQ(info(name + "//" + one).time, 1794734325);
    EXPECT_EQ(extracted(name, one), kOne);
    EXPECT_EQ(extracted(name, two), kTwo + "\n");
    EXPECT_EQ(extracted(name, three), kThree);
    CFileContents contents(&index(), record(name + "//" + three), 1000, 0, true, 0);
    EXPECT_STREQ(contents.contents(), "third\nc@d\n16 Nov 2026 09:18:45\n\nlastword\n");
    EXPECT_EQ(extracted(name, "e@f 2026-11-15 09:18:45-2.eml"), "none");
  }
  // The first message was deleted since.
  writeFile(files() + "/in.mbox", kOpening + kTwo + "\n" + kOpening + kThree);
  EXPECT_EQ(extracted("in.mbox", three), kThree);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(UnicodeMailbox, WithinAnArchiveIsOneDocument) {
  EXPECT_TRUE(indexNew("a.zip", zipArchive({{"mail/inbox", kMailbox}})));
  EXPECT_EQ(seenIn("omega1"), "a.zip//mail/inbox");
  EXPECT_EQ(seenIn("lastword"), "a.zip//mail/inbox");
  EXPECT_TRUE(indexNew("b.zip", zipArchive({{"mail/in.mbox", kMailbox}})));
  EXPECT_EQ(seenIn("lastword"), "b.zip//mail/in.mbox//c@d 2026-11-16 09:18:45-3.eml");
}

TEST_F(UnicodeMailbox, EncryptedMessagesAreToldByName) {
  EXPECT_TRUE(indexNew("in.mbox",
                       kOpening + "From: a@b\nContent-Type: multipart/encrypted; boundary=x\n\n"));
  EXPECT_THAT(problems(), ElementsAre("PasswordNeeded in.mbox/a@b 2026-11-15 09:18:45-1.eml"));
}

}  // namespace
}  // namespace veska::test

// Messages: headers, parts, and what of them is text.

#include <gtest/gtest.h>

#include "analyzers/unicode/mailheader.h"
#include "tests/analyzers/documenttext.h"

namespace veska::unicode {
namespace {

using test::shown;

const std::string kHead =
    "Received: by host\nSubject: S\nFrom: a@b\nDate: Mon, 15 Nov 2026 09:18:45 +0100\n";
const std::string kHeadShown = "S\na@b\nMon, 15 Nov 2026 09:18:45 +0100\n\n";

// The text of a message's body, whose header goes on with these fields.
std::string body(const std::string& rest, Outcome* outcome = nullptr) {
  const auto [text, ended] = test::readStream(kHead + rest, "");
  if (outcome != nullptr) *outcome = ended;
  EXPECT_TRUE(text.starts_with(kHeadShown.substr(0, kHeadShown.size() - 1))) << text;
  return text.size() < kHeadShown.size() ? "" : text.substr(kHeadShown.size());
}

std::string multipart(const std::string& subtype, const std::string& parts) {
  return "Content-Type: multipart/" + subtype + "; boundary=\"=_b 1\"\n\npreamble\n" + parts;
}

TEST(MailHeader, DecodesEncodedWords) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"plain  text\r\n\tfolded", "plain text folded"},
      {"=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=", "ab"},
      {"=?ISO-8859-1?Q?a_b?=\n  =?utf-8*en?q?=C3=A9?=", "a bé"},
      {"=?UTF-8?B?5p2x?= =?UTF-8?B?5Lqs?=", "東京"},
      // A character cut in two by the words.
      {"=?UTF-8?B?5p0=?= =?UTF-8?B?sQ==?=", "東"},
      {"=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=", "日本"},
      {"=?koi8-r?B?7c/Ty9fB?= x", "Москва x"},
      {"=?no-such-set?Q?caf=E9?=", "café"},
      {"raw caf\xE9", "raw café"},
      {"=?utf-8?X?a?= =?utf-8?Q?open", "=?utf-8?X?a?= =?utf-8?Q?open"},
      {"", ""},
  };
  for (const auto& [field, text] : cases) EXPECT_EQ(decodeHeaderText(field), text) << field;
}

TEST(MailHeader, KeepsNamesApartThatAreEncodedOneByOne) {
  const std::string words = "=?utf-8?Q?J=C3=B6rg?= =?utf-8?Q?M=C3=BCller?= <j@x>";
  EXPECT_EQ(decodeHeaderText(words, {}, EncodedWords::kNames), "Jörg Müller <j@x>");
  const std::string half = "=?utf-8?Q?" + std::string(60, 'a') + "?=";
  EXPECT_EQ(decodeHeaderText(half + " " + half, {}, EncodedWords::kNames), std::string(120, 'a'));
}

TEST(MailHeader, JoinsAndDecodesParameters) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"attachment; filename=plain.txt", "plain.txt"},
      {"attachment; FileName = \"a;b \\\"c\\\".txt\" ; x=y", "a;b \"c\".txt"},
      {"attachment; filename*=iso-8859-1'fr'caf%E9.txt", "café.txt"},
      {"attachment; filename*0*=utf-8''%e6%9d; filename*1*=%b1; filename*2=\".txt\"", "東.txt"},
      {"attachment; filename=\"=?utf-8?Q?caf=C3=A9?=.txt\"", "café.txt"},
      {"attachment; filename=\"open", "open"},
      {"attachment; filename*=utf-8''%zz%4", "%zz%4"},
      {"attachment; filename", ""},
  };
  for (const auto& [field, name] : cases) {
    MailHeader header;
    header.disposition = field;
    EXPECT_EQ(header.fileName(), name) << field;
  }
}

TEST(MailHeader, ReadsDates) {
  const std::tuple<std::string_view, int64_t, std::string_view> cases[] = {
      {"Mon, 15 Nov 2026 09:18:45 +0100 (CET)", 1794730725, "2026-11-15 09:18:45"},
      {"15 nov 26 09:18 EST", 1794752280, "2026-11-15 09:18:00"},
      {"Mon Nov 15 09:18:45 2026", 1794734325, "2026-11-15 09:18:45"},
      {"32 Nov 2026 09:18:45 +0000", 0, ""},
      {"15 Nov 2026 99:99:99 +0000", 0, ""},
      {"", 0, ""},
  };
  for (const auto& [field, seconds, text] : cases) {
    const std::optional<MailDate> date = parseMailDate(field);
    EXPECT_EQ(date ? date->seconds : 0, seconds) << field;
    EXPECT_EQ(date ? date->text : "", text) << field;
  }
}

TEST(MailParts, AreDecodedTheSameInWhateverPieces) {
  const std::tuple<TransferEncoding, std::string, std::string> cases[] = {
      {TransferEncoding::kQuotedPrintable, "a=3Db=E9=\r\nc= \t\nd =zz =4 =", "a=b\351cd =zz =4 "},
      {TransferEncoding::kQuotedPrintable, "x=4", "x=4"},
      {TransferEncoding::kBase64, "YWJj\r\nZGU=\r\n", "abcde"},
      {TransferEncoding::kBase64, "YWJj ZG!U", "abcde"},
      {TransferEncoding::kBase64, "YWJj\n________\nlist footer text\n", "abc"},
      {TransferEncoding::kBase64, "YQ==YQ==", "a"},
      {TransferEncoding::kBase64, "Y", ""},
  };
  for (const auto& [encoding, text, bytes] : cases) {
    EXPECT_EQ(decodeTransfer(text, encoding), bytes) << text;
    for (size_t piece = 1; piece < 8; ++piece) {
      MemoryInput encoded(text);
      DecodedInput input(encoded, encoding);
      std::string all(bytes.size() + 8, '\0');
      size_t done = 0;
      while (const size_t got = input.read(all.data() + done, std::min(piece, all.size() - done)))
        done += got;
      EXPECT_EQ(all.substr(0, done), bytes) << text << ' ' << piece;
    }
  }
}

TEST(Mail, BeginsWithWhatPeopleLookFor) {
  EXPECT_EQ(shown("Date: 15 Nov 2026\nTo: =?utf-8?Q?J=C3=B6rg?= <j@x>,\n c@d\nReceived: x\n"
                  "Cc: e@f\nFrom: Ann <a@b>\nSubject: =?utf-8?Q?caf=C3=A9?=\n\nText.\n",
                  "x.eml"),
            "café\nAnn <a@b>\n-> Jörg <j@x>, c@d, e@f\n15 Nov 2026\n\nText.\n");
  // A line that is no field begins the body.
  EXPECT_EQ(shown("Subject: S\nno field\nFrom: x\n", "x.eml"), "S\n\nno field\nFrom: x\n");
  EXPECT_EQ(shown("", "x.eml"), "");
}

TEST(Mail, IsToldByItsFields) {
  EXPECT_EQ(shown(kHead + "\ntext\n", "1234567890.M5P6.example.org:2,S"), kHeadShown + "text\n");
  EXPECT_EQ(shown(kHead + "\ntext\n", "1234567890.M5P6.example.org"), kHeadShown + "text\n");
  const std::string notes = "Subject: plans\nFrom: here to there\n\ntext\n";
  EXPECT_EQ(shown(notes, "notes"), notes);
  EXPECT_EQ(shown(kHead + "\ntext\n", "notes.txt"), kHead + "\ntext\n");
}

TEST(Mail, BodiesAreDecoded) {
  const std::string type = "Content-Type: text/plain; charset=";
  EXPECT_EQ(body(type + "iso-8859-2\nContent-Transfer-Encoding: 8bit\n\n\xB3\363d\xBC\n"),
            "łódź\n");
  EXPECT_EQ(body(type + "\"ISO-2022-JP\"\n\n\x1B$BF|K\\\x1B(B\n"), "日本\n");
  EXPECT_EQ(body(type + "utf-8\nContent-Transfer-Encoding: Quoted-Printable\n\nca=\nf=C3=A9\n"),
            "café\n");
  EXPECT_EQ(body(type + "utf-8\nContent-Transfer-Encoding: BASE64\n\nY2Fmw6k=\n"), "café\n");
  EXPECT_EQ(body("Content-Type: text/html; charset=windows-1251\n\n<p>\xCC\xEE<b>\xF1</b>\n"),
            "Мос\n");
}

TEST(Mail, BoundariesStandAtTheBeginningOfLines) {
  EXPECT_EQ(body(multipart("mixed",
                           "--=_b 1\n\none --=_b 1\n--=_b 1x\n--=_b 1 x\n"
                           "--=_b 1 \t\r\n\ntwo\n--=_b 1--\nepilogue\n")),
            "one --=_b 1\n--=_b 1x\n--=_b 1 x\n\ntwo\n");
  // The end is missing; a part without any header has text all the same.
  EXPECT_EQ(body(multipart("mixed", "--=_b 1\nplain\n--=_b 1\n\ntwo")), "plain\n\ntwo\n");
  // Without any boundary all is text.
  EXPECT_EQ(body("Content-Type: multipart/mixed\n\n--x\n\ntext\n"), "--x\n\ntext\n");
  EXPECT_EQ(body("Content-Type: multipart/mixed; boundary=no\n\n--x\n\ntext --no\n--not\n"),
            "--x\n\ntext --no\n--not\n");
  const std::string inner = "--=_b 1\nContent-Type: multipart/mixed; boundary=in\n\n--in\n\none\n";
  EXPECT_EQ(body(multipart("mixed", inner + "--=_b 1\n\ntwo\n--=_b 1--\n")), "one\n\ntwo\n");
}

TEST(Mail, OfAlternativesOneCounts) {
  const std::string plain = "--=_b 1\nContent-Type: text/plain\n\nplain\n";
  const std::string empty = "--=_b 1\nContent-Type: text/plain\n\n \n\n";
  const std::string html = "--=_b 1\nContent-Type: text/html\n\n<p>marked up\n";
  const std::string related =
      "--=_b 1\nContent-Type: multipart/related; boundary=in\n\n--in\nContent-Type: text/html\n\n"
      "<p>rich\n--in\nContent-Disposition: attachment; filename=a.txt\n\nattached\n--in--\n";
  const std::string end = "--=_b 1--\n";
  EXPECT_EQ(body(multipart("alternative", plain + html + end)), "plain\n");
  EXPECT_EQ(body(multipart("alternative", empty + html + end)), "marked up\n");
  EXPECT_EQ(body(multipart("alternative", html + plain + end)), "marked up\n");
  EXPECT_EQ(body(multipart("alternative", plain + related + end)), "plain\n\na.txt\nattached\n");
  EXPECT_EQ(body(multipart("alternative", related + end)), "rich\n\na.txt\nattached\n");
  EXPECT_EQ(body(multipart("mixed", plain + html + end)), "plain\n\nmarked up\n");
}

TEST(Mail, AttachmentsGoByTheirOwnKinds) {
  const std::string part = "--=_b 1\nContent-Type: ";
  EXPECT_EQ(
      body(multipart("mixed", part + "application/octet-stream; name=page.html\n\n<i>a</i>b\n" +
                                  part + "image/png; name=p.png\n\nnotext\n" + part +
                                  "application/pgp-signature\n\nnotext\n" + part +
                                  "message/rfc822\n\nSubject: inner\n\ndeep\n")),
      "page.html\nab\n\np.png\n\ninner\n\ndeep\n");
  EXPECT_EQ(body(multipart("digest", "--=_b 1\n\nSubject: one\n\ntext\n--=_b 1--\n")),
            "one\n\ntext\n");
  // Nesting ends somewhere.
  std::string deep = "text\n";
  for (int i = 0; i < 100; ++i) deep = "Content-Type: message/rfc822\n\n" + deep;
  Outcome outcome = Outcome::kDone;
  body(deep, &outcome);
  EXPECT_EQ(outcome, Outcome::kLimited);
  EXPECT_EQ(body(multipart("encrypted", part + "text/plain\n\nhidden\n"), &outcome), "");
  EXPECT_EQ(outcome, Outcome::kNeedsPassword);
  // Blanks at the end of a boundary are none of it.
  EXPECT_EQ(body("Content-Type: multipart/mixed; boundary=\"b \"\n\npreamble\n--b \n\none\n"),
            "one\n");
  const std::string sealed = "Content-Type: application/pkcs7-mime; name=smime.p7m; smime-type=";
  EXPECT_EQ(body(sealed + "enveloped-data\n\nMIIB\n", &outcome), "");
  EXPECT_EQ(outcome, Outcome::kNeedsPassword);
  EXPECT_EQ(body(sealed + "certs-only\n\nMIIB\n", &outcome), "");
  EXPECT_EQ(outcome, Outcome::kDone);
}

TEST(Mail, ArmourAndUuencodeAreNoText) {
  const std::string signature =
      "-----BEGIN PGP SIGNATURE-----\nVersion: GnuPG v1\n\niQEzBAEBCAAdFiEE\n=abcd\n"
      "-----END PGP SIGNATURE-----\n";
  EXPECT_EQ(
      body("\n-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA1\n\ntext\n" + signature + "footer\n"),
      "text\nfooter\n");
  EXPECT_EQ(body("\n-----BEGIN PGP MESSAGE-----\n\nabcd\nIt never ends.\nsure\n"),
            "It never ends.\nsure\n");
  EXPECT_EQ(body("\na\nbegin 644 x.txt\n#86)C\n`\nend\nb\n"), "a\nb\n");
  EXPECT_EQ(body("\nbegin 644 words are\nno file, are they\n"), "no file, are they\n");
}

TEST(Mail, FlowedLinesAreJoined) {
  const std::string type = "Content-Type: text/plain; format=flowed";
  EXPECT_EQ(body(type + "\n\none \ntwo\nthree\n> q \n> r\n>> s \n> t\n-- \nsig\n"),
            "one two\nthree\n> q r\n>> s\n> t\n--\nsig\n");
  EXPECT_EQ(body(type + "; delsp=yes\n\n東 \n京\n"), "東京\n");
  const std::string longLine(200000, 'x');
  EXPECT_EQ(body(type + "\n\na\n" + longLine + "\nb\n"), "a\n" + longLine + "\nb\n");
}

}  // namespace
}  // namespace veska::unicode

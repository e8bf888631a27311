// Documents encrypted with an empty user password by each method, made here by the rules of
// ISO 32000-2, 7.6.

#include <gtest/gtest.h>

#include "analyzers/pdf/libcrypto.h"
#include "crypto/arcfour.h"
#include "tests/analyzers/pdfbuilder.h"

namespace veska::test {
namespace {

using pdf::Digest;
using pdf::digest;

constexpr std::string_view kPadding(
    "\x28\xBF\x4E\x5E\x4E\x75\x8A\x41\x64\x00\x4E\x56\xFF\xFA\x01\x08"
    "\x2E\x2E\x00\xB6\xD0\x68\x3E\x80\x2F\x0C\xA9\xFE\x64\x53\x69\x7A",
    32);
const std::string kOwner(32, 'o');
const std::string kFileId(16, 'i');
const char kContents[] = "BT /F 10 Tf 50 700 Td (Secret manual) Tj ET";

std::string hex(std::string_view bytes) {
  std::string out = "<";
  for (const char c : bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    out += kDigits[static_cast<unsigned char>(c) >> 4];
    out += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return out + ">";
}

std::string rc4(std::string_view key, std::string_view input) {
  std::string out(input.size(), '\0');
  rc4Crypt(input.size(), input.data(), key.size(), key.data(), out.data());
  return out;
}

std::string aes(std::string_view key, std::string_view input) {
  const std::string iv(16, 'v');
  const size_t fill = 16 - input.size() % 16;
  return iv +
         pdf::aesEncrypt(key, iv, std::string(input) + std::string(fill, static_cast<char>(fill)));
}

// The key of a revision up to 4, and the user entry that proves it.
std::string keyFor(std::string_view password, int revision, size_t keyBytes, std::string& user) {
  std::string filled(password);
  filled += kPadding.substr(0, 32 - password.size());
  std::string key = digest(Digest::kMd5, filled + kOwner + "\xFC\xFF\xFF\xFF" + kFileId);
  for (int i = 0; i < 50 && revision >= 3; ++i) key = digest(Digest::kMd5, key.substr(0, keyBytes));
  key.resize(keyBytes);
  if (revision == 2) {
    user = rc4(key, kPadding);
    return key;
  }
  user = digest(Digest::kMd5, std::string(kPadding) + kFileId);
  for (int i = 0; i < 20; ++i) {
    std::string round = key;
    for (char& c : round) c = static_cast<char>(c ^ i);
    user = rc4(round, user);
  }
  user += std::string(16, '\0');
  return key;
}

std::string objectKey(std::string key, bool isAes) {
  const size_t bytes = std::min<size_t>(key.size() + 5, 16);
  key += std::string("\4\0\0\0\0", 5) + (isAes ? "sAlT" : "");  // object 4, generation 0
  return digest(Digest::kMd5, key).substr(0, bytes);
}

std::string documentOf(std::string_view encryptedContents, const std::string& encrypt) {
  PdfBuilder builder = PdfBuilder::page("");
  builder.object(4) = streamObject("", encryptedContents);
  return builder.build("/ID[" + hex(kFileId) + hex(kFileId) + "]/Encrypt<</Filter/Standard/P -4/O" +
                       hex(kOwner) + encrypt + ">>");
}

class PdfSecurity : public testing::Test {
 protected:
  void SetUp() override {
    if (!pdf::cryptoAvailable()) GTEST_SKIP() << "no libcrypto";
  }
};

TEST_F(PdfSecurity, Rc4OpensWithTheEmptyPassword) {
  for (const auto& [revision, bytes] : {std::pair(2, 5), std::pair(3, 16), std::pair(3, 9)}) {
    std::string user;
    const std::string key = keyFor("", revision, static_cast<size_t>(bytes), user);
    const std::string file =
        documentOf(rc4(objectKey(key, false), kContents),
                   "/V " + std::to_string(revision - 1) + "/R " + std::to_string(revision) +
                       "/Length " + std::to_string(bytes * 8) + "/U" + hex(user));
    EXPECT_EQ(extract(file), "Secret manual\n\f") << revision << " " << bytes;
  }
}

TEST_F(PdfSecurity, Aes128OpensWithTheEmptyPassword) {
  std::string user;
  const std::string key = keyFor("", 4, 16, user);
  const std::string entries =
      "/V 4/R 4/Length 128/CF<</StdCF<</CFM/AESV2>>>>/StmF/StdCF/StrF/StdCF/U" + hex(user);
  EXPECT_EQ(extract(documentOf(aes(objectKey(key, true), kContents), entries)),
            "Secret manual\n\f");
  EXPECT_EQ(extract(documentOf("short", entries)), "\f");
}

TEST_F(PdfSecurity, Aes256OpensWithTheEmptyPassword) {
  // Revision 5, whose hash is plain SHA-256.
  const std::string key(32, 'k'), validation = "validate", salt = "wrapping";
  const std::string user = digest(Digest::kSha256, validation) + validation + salt;
  const std::string wrapped =
      pdf::aesEncrypt(digest(Digest::kSha256, salt), std::string(16, '\0'), key);
  EXPECT_EQ(extract(documentOf(aes(key, kContents),
                               "/V 5/R 5/CF<</StdCF<</CFM/AESV3>>>>/StmF/StdCF/StrF/StdCF/U" +
                                   hex(user) + "/UE" + hex(wrapped))),
            "Secret manual\n\f");
}

TEST_F(PdfSecurity, OtherPasswordsAreNeeded) {
  std::string user;
  const std::string key = keyFor("word", 3, 16, user);
  EXPECT_EQ(extract(documentOf(rc4(objectKey(key, false), kContents),
                               "/V 2/R 3/Length 128/U" + hex(user))),
            "!3");
  EXPECT_EQ(extract(documentOf("", "/V 9/R 9/U<>")), "!3") << "an unknown method";
  EXPECT_EQ(extract(documentOf("", "/V 5/R 6/U<00>/UE<00>")), "!3");
}

}  // namespace
}  // namespace veska::test

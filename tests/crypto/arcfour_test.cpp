#include "crypto/arcfour.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "api/veskalib.h"

namespace veska::test {
namespace {

std::string hex(const std::string& bytes) {
  std::string text(2 * bytes.size() + 1, '?');
  convertToHex(static_cast<int>(bytes.size()), bytes.data(), text.data());
  return text.c_str();
}

std::string crypt(const std::string& key, const std::string& input) {
  std::string output(input.size(), '\0');
  EXPECT_EQ(rc4Crypt(input.size(), input.data(), key.size(), key.data(), output.data()),
            output.data());
  return output;
}

TEST(Arcfour, PublishedVectors) {
  const std::string key = "\x01\x02\x03\x04\x05";  // RFC 6229, 40 bits, offsets 0 and 240
  const std::string stream = crypt(key, std::string(256, '\0'));
  EXPECT_EQ(hex(stream.substr(0, 16)), "B2396305F03DC027CCC3524A0A1118A8");
  EXPECT_EQ(hex(stream.substr(240, 16)), "28CB1132C96CE286421DCAADB8B69EAE");
  EXPECT_EQ(hex(crypt("Key", "Plaintext")), "BBF316E8D940AF0AD3");
  EXPECT_EQ(crypt("Key", crypt("Key", "Plaintext")), "Plaintext");
}

TEST(Arcfour, SaltedTextIsSaltAndCipherUnderTheKeyAndTheSalt) {
  const std::string key(80, 'k'), text = "some text";
  std::string output(text.size() + 11, '#');
  rc4EncipherSalted(static_cast<int>(text.size()), text.data(), key.size(), key.data(),
                    output.data());
  EXPECT_EQ(output.back(), '#');
  EXPECT_EQ(output.substr(10, text.size()), crypt(key + output.substr(0, 10), text));
  std::string back(text.size() + 1, '#');
  rc4DecipherSalted(static_cast<unsigned>(text.size() + 10), output.data(), key.size(), key.data(),
                    back.data());
  EXPECT_EQ(back, text + "#");
}

TEST(Arcfour, HostsCipherIsRepeatableAndComesBack) {
  for (const size_t length : {size_t{0}, size_t{1}, size_t{300}}) {
    const std::string text(length, 'x');
    std::string first(length + 10, '\0'), second(length + 10, '\1'), back(length, '\0');
    vEncipher(text.data(), static_cast<int>(length), first.data());
    vEncipher(text.data(), static_cast<int>(length), second.data());
    EXPECT_EQ(first, second);
    vDecipher(first.data(), static_cast<unsigned>(first.size()), back.data());
    EXPECT_EQ(back, text);
  }
  char untouched = '#';
  vDecipher("0123456789", 10, &untouched);
  vDecipher("012345678", 9, &untouched);
  vDecipher("012345678", 0, &untouched);
  EXPECT_EQ(untouched, '#');
}

// The generator is seeded with a millisecond: its next value is that of one of 1000 seeds.
TEST(Arcfour, EncipheringSeedsTheGenerator) {
  char output[11];
  vEncipher("x", 1, output);
  for (int i = 0; i < 2; ++i) std::rand();
  const int next = std::rand();
  bool known = false;
  for (unsigned seed = 0; seed < 1000 && !known; ++seed) {
    std::srand(seed);
    for (int i = 0; i < 10 + 2; ++i) std::rand();
    known = std::rand() == next;
  }
  EXPECT_TRUE(known);
}

TEST(Arcfour, HexDigits) {
  EXPECT_EQ(hex(std::string("\0\xAB", 2)), "00AB");
  char text[3] = "##";
  convertToHex(0, "x", text);
  convertToHex(-1, "x", text);
  EXPECT_STREQ(text, "##");
  for (const char* digits : {"00ab", "00AB"}) {
    unsigned char bytes[3] = {9, 9, 9};
    convertFromHex(digits, 2, bytes);
    EXPECT_EQ(std::memcmp(bytes, "\x00\xAB\x09", 3), 0) << digits;
  }
  for (int value = 0; value < 256; ++value) {
    char high = 0, low = 0;
    unsigned char back = 0;
    tohex(static_cast<unsigned char>(value), &high, &low);
    fromhex(high, low, &back);
    EXPECT_EQ(back, value);
  }
}

}  // namespace
}  // namespace veska::test

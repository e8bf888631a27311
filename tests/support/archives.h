// Archives laid out by hand, so that they can also lie.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veska::test {

struct ZipMember {
  std::string name;
  std::string data;
  bool deflated = true;
  uint16_t flags = 0;
  // Where the directory says that the member lies: -1: where it does, else the number of the member
  // whose bytes it shares.
  int sameAs = -1;
};

// A ZIP archive; all times are 2021-03-04 05:06:08.
std::string zipArchive(const std::vector<ZipMember>& members);

// The number as so many bytes, the lowest first.
std::string littleEndian(uint64_t value, int bytes);

// Data of zlib; windowBits as for deflateInit2: negative for raw data, 16 more for gzip.
std::string deflated(std::string_view bytes, int windowBits = 15);

// A gzip file.
inline std::string gzipped(std::string_view bytes) { return deflated(bytes, 15 + 16); }

// One TAR member with its padding. size: the text of the size field, made from the data when empty.
std::string tarMember(std::string_view name, std::string_view data, char kind = '0',
                      std::string_view size = {});

// Sets the check sum of the header at the beginning of a member.
void setTarSum(std::string& member);

// The blocks of zeros that end a TAR archive.
inline std::string tarEnd() { return std::string(1024, '\0'); }

inline constexpr int32_t kTarTime = 1'600'000'000;

}  // namespace veska::test

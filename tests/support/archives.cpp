#include "tests/support/archives.h"

#include <zlib.h>

#include <cstdio>

namespace veska::test {

std::string littleEndian(uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
  return text;
}

std::string deflated(std::string_view bytes, int windowBits) {
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  std::string result(deflateBound(&stream, bytes.size()) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  return result;
}

namespace {

// What a local header and a directory entry have in common, from the flags on.
std::string zipFields(const ZipMember& member, size_t packedBytes) {
  constexpr unsigned kTime = 5 << 11 | 6 << 5 | 4;
  constexpr unsigned kDate = (2021 - 1980) << 9 | 3 << 5 | 4;
  const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(member.data.data()),
                          static_cast<uInt>(member.data.size()));
  return littleEndian(member.flags, 2) + littleEndian(member.deflated ? 8 : 0, 2) +
         littleEndian(kTime, 2) + littleEndian(kDate, 2) + littleEndian(sum, 4) +
         littleEndian(packedBytes, 4) + littleEndian(member.data.size(), 4) +
         littleEndian(member.name.size(), 2);
}

}  // namespace

std::string zipArchive(const std::vector<ZipMember>& members) {
  std::string archive;
  std::string directory;
  std::vector<std::pair<size_t, size_t>> places;  // offset and packed size
  for (const ZipMember& member : members) {
    if (member.sameAs < 0) {
      const std::string packed = member.deflated ? deflated(member.data, -15) : member.data;
      places.emplace_back(archive.size(), packed.size());
      archive += "PK\3\4" + littleEndian(20, 2) + zipFields(member, packed.size()) +
                 littleEndian(0, 2) + member.name + packed;
    } else {
      places.push_back(places[static_cast<size_t>(member.sameAs)]);
    }
    directory += "PK\1\2" + littleEndian(20, 2) + littleEndian(20, 2) +
                 zipFields(member, places.back().second) + littleEndian(0, 2) + littleEndian(0, 2) +
                 littleEndian(0, 2) + littleEndian(0, 2) + littleEndian(0, 4) +
                 littleEndian(places.back().first, 4) + member.name;
  }
  return archive + directory + "PK\5\6" + littleEndian(0, 4) + littleEndian(members.size(), 2) +
         littleEndian(members.size(), 2) + littleEndian(directory.size(), 4) +
         littleEndian(archive.size(), 4) + littleEndian(0, 2);
}

void setTarSum(std::string& member) {
  member.replace(148, 8, 8, ' ');
  unsigned sum = 0;
  for (size_t i = 0; i < 512; ++i) sum += static_cast<unsigned char>(member[i]);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%06o", sum & 0777777);
  member.replace(148, 7, digits, 7);
}

std::string tarMember(std::string_view name, std::string_view data, char kind,
                      std::string_view size) {
  char digits[13];
  std::string header(512, '\0');
  header.replace(0, name.size(), name);
  std::snprintf(digits, sizeof digits, "%011zo", data.size());
  header.replace(124, size.empty() ? 11 : size.size(), size.empty() ? digits : size);
  std::snprintf(digits, sizeof digits, "%011o", static_cast<unsigned>(kTarTime));
  header.replace(136, 11, digits);
  header[156] = kind;
  header.replace(257, 5, "ustar");
  header.replace(345, 6, "prefix");
  setTarSum(header);
  std::string block(data);
  block.resize((data.size() + 511) / 512 * 512);
  return header + block;
}

}  // namespace veska::test

// An independent reader of the files of an index: a few lines for each layout, sharing nothing with
// the classes that write them. A place outside the bytes throws std::out_of_range.
#ifndef VESKA_TESTS_SUPPORT_TABLEREADER_H_
#define VESKA_TESTS_SUPPORT_TABLEREADER_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace veska::test {

// The folded byte, from the rules and not from the table.
inline int slowFold(char c) {
  const int b = static_cast<unsigned char>(c);
  if (b == 0x7F) return 0;
  if ((b >= 'A' && b <= 'Z') || (b >= 0xC1 && b <= 0xDE)) return b + 0x20;
  if (b >= 0x8A && b <= 0x8F) return b + 0x10;
  return b == 0xA3 ? 0xB3 : b == 0xA5 ? 0xB9 : b == 0xAF ? 0xBF : b;
}

inline uint32_t slowHash(std::string_view text) {
  uint32_t hash = 0;
  for (const char c : text) {
    if (slowFold(c) == 0) break;
    hash = hash * 33 + static_cast<uint32_t>(static_cast<signed char>(slowFold(c)));
  }
  return hash;
}

// Equal but for the case of ASCII letters.
inline bool slowEqual(std::string_view a, std::string_view b) {
  const auto ascii = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
  };
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (ascii(a[i]) != ascii(b[i])) return false;
  }
  return true;
}

inline std::string bytesOf(uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

inline uint32_t u32At(std::string_view bytes, size_t at) {
  if (at + 4 > bytes.size()) throw std::out_of_range("no number at " + std::to_string(at));
  uint32_t value = 0;
  for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

inline void putU32(std::string& bytes, size_t at, uint32_t value) {
  bytes.replace(at, 4, bytesOf(value));
}

inline std::string textAt(std::string_view bytes, size_t at) {
  const size_t end = bytes.find('\0', at);
  if (end == std::string_view::npos) throw std::out_of_range("no text at " + std::to_string(at));
  return std::string(bytes.substr(at, end - at));
}

// The four header words, and no byte set from used on.
struct TableHeader {
  explicit TableHeader(std::string_view file)
      : fileBytes(u32At(file, 0)),
        used(u32At(file, 4)),
        initial(u32At(file, 8)),
        increment(u32At(file, 12)),
        zeroBehind(file.find_first_not_of('\0', used) == std::string_view::npos) {}
  uint32_t fileBytes, used, initial, increment;
  bool zeroBehind;
};

// An entry of "files" (prefix 20), "words" (20) or "skipped" (4).
struct Entry {
  uint32_t id, next;
  std::string data;  // what stands between the link and the text
  std::string text;
};

inline std::vector<Entry> entriesOf(std::string_view file, uint32_t prefix) {
  std::vector<Entry> entries;
  const std::string_view used = file.substr(0, TableHeader(file).used);
  for (size_t at = 16; at < used.size();) {
    const auto id = static_cast<uint32_t>(at + prefix);
    entries.push_back({id, u32At(used, at), std::string(used.substr(at + 4, prefix - 4)),
                       textAt(used, id)});
    at = id + entries.back().text.size() + 1;
  }
  return entries;
}

// The ids of a bucket's chain; prefix as above.
inline std::vector<uint32_t> chainOf(std::string_view file, uint32_t head, uint32_t prefix) {
  std::vector<uint32_t> ids;
  for (uint32_t id = head; id != 0; id = u32At(file, id - prefix)) ids.push_back(id);
  return ids;
}

// The blocks of "hash", one after the other.
class BlockReader {
 public:
  explicit BlockReader(std::string_view bytes) : bytes_(bytes) {}
  uint32_t number() { return u32At(bytes_, (at_ += 4) - 4); }
  char byte() { return bytes_.at(at_++); }
  void expect(uint32_t value) {
    if (number() != value) throw std::out_of_range("wrong number before " + std::to_string(at_));
  }
  std::vector<uint32_t> buckets() {
    expect(12340001);
    std::vector<uint32_t> heads(number());
    for (uint32_t& head : heads) head = number();
    return heads;
  }
  bool atEnd() const { return at_ == bytes_.size(); }

 private:
  std::string_view bytes_;
  size_t at_ = 0;
};

struct TextBlock {
  explicit TextBlock(BlockReader& in) {
    in.expect(12350001);
    prefix = in.number();
    count = in.number();
    buckets = in.buckets();
  }
  uint32_t prefix, count;
  std::vector<uint32_t> buckets;
};

struct FileBlock {
  explicit FileBlock(BlockReader& in) {
    in.expect(12370001);
    prefix = in.number();
    buckets = in.buckets();
  }
  uint32_t prefix;
  std::vector<uint32_t> buckets;
};

struct LinkBlock {
  explicit LinkBlock(BlockReader& in) {
    in.expect(12360001);
    ranking = in.byte();
  }
  char ranking;
};

struct HashFile {
  explicit HashFile(std::string_view bytes)
      : in(bytes), files(in), words(in), skipped(in), links(in) {
    if (!in.atEnd()) throw std::out_of_range("bytes behind the last block");
  }
  BlockReader in;
  FileBlock files;
  TextBlock words, skipped;
  LinkBlock links;
};

// A word's links, newest chunk first: (file id, count), with ranking.
inline std::vector<std::vector<std::pair<uint32_t, int>>> chunksOf(std::string_view links,
                                                                   uint32_t position) {
  std::vector<std::vector<std::pair<uint32_t, int>>> chunks;
  while (position != 0) {
    chunks.emplace_back();
    while (const uint32_t file = u32At(links, position)) {
      chunks.back().emplace_back(file, static_cast<unsigned char>(links.at(position + 4)));
      position += 5;
    }
    position = u32At(links, position + 5);
  }
  return chunks;
}

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_TABLEREADER_H_

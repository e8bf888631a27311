// A header block of 512 bytes, then the member's data, padded with zeros to whole blocks:
//     0  100  name               124  12  size     } octal digits, or a binary number (first
//   148    8  sum of the bytes   136  12  time     } byte 0x80 or 0xFF)
//   156    1  kind               257   6  "ustar\0": what follows is as in POSIX
//   345  155  prefix: folders in front of the name
//
// Kinds: NUL, "0" and "7" are files; "L" is a GNU long name for the member behind it; "x" is a pax
// header for the member behind it, lines "LENGTH key=value\n"; "S" is a file with holes, whose
// blocks that are not empty follow. All else has no contents, or none that is text.

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "analyzers/archivereader.h"
#include "analyzers/tarheader.h"

using namespace veska::tar;
using namespace veska::unicode;

namespace {

constexpr auto npos = std::string_view::npos;
constexpr uint64_t kMostHeaderBytes = 1 << 20;  // of a long name or a pax header
constexpr uint64_t kMostSize = uint64_t{1} << 62;

constexpr size_t kMoreHoles = 482;        // in a header "S": a block of further holes follows
constexpr size_t kMoreHolesInNext = 504;  // the same in such a block

std::string_view textOf(std::string_view block, Field field) {
  const std::string_view text = block.substr(field.offset, field.bytes);
  return text.substr(0, text.find('\0'));
}

// Numbers out of reach become the nearest in reach.
int64_t numberOf(std::string_view block, Field field) {
  const std::string_view text = block.substr(field.offset, field.bytes);
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  int64_t value = 0;
  if (byte(0) & 0x80) {
    constexpr int64_t kRoom = std::numeric_limits<int64_t>::max() >> 8;
    value = (byte(0) & 0x7F) - (byte(0) & 0x40 ? 0x80 : 0);
    for (size_t i = 1; i < text.size(); ++i) {
      if (value > kRoom || value < -kRoom) return value < 0 ? -kRoom : kRoom;
      value = value * 256 + byte(i);
    }
    return value;
  }
  size_t i = std::min(text.find_first_of("01234567"), text.size());
  for (; i < text.size() && text[i] >= '0' && text[i] <= '7'; ++i)
    value = value * 8 + text[i] - '0';
  return value;
}

// The sum counts its own field as blanks. Old programs added signed bytes. Other bytes in the field
// than those of an octal number make no header: by chance a sum of signed bytes is small.
bool sumIsRight(std::string_view block) {
  constexpr std::string_view kOctal("01234567 \0", 10);
  const std::string_view field = block.substr(kSum.offset, kSum.bytes);
  if (field.find_first_not_of(kOctal) != npos) return false;
  int64_t plain = 0;
  int64_t withSign = 0;
  for (size_t i = 0; i < kHeaderBytes; ++i) {
    const char c = i >= kSum.offset && i < kSum.offset + kSum.bytes ? ' ' : block[i];
    plain += static_cast<unsigned char>(c);
    withSign += static_cast<signed char>(c);
  }
  const int64_t told = numberOf(block, kSum);
  return told == plain || told == withSign;
}

bool isZero(std::string_view block) { return block.find_first_not_of('\0') == npos; }

class TarReader : public ArchiveReader {
 public:
  explicit TarReader(ByteInput& input) : input_(input) {}

  bool next() override {
    longName_.clear();
    paxSize_.clear();
    paxTime_.clear();
    while (nextHeader()) {
      const std::string_view block(block_, kHeaderBytes);
      const char kind = block_[kKind];
      if (kind == 'L') {
        longName_ = readSmall();
        longName_.resize(std::min(longName_.find('\0'), longName_.size()));
      } else if (kind == 'x') {
        readPax(readSmall());
      } else if (kind == 'g' || kind == 'K') {
        readSmall();
      } else {
        describe(block);
        if (isFile(kind)) return true;
        longName_.clear();
        paxSize_.clear();
        paxTime_.clear();
      }
    }
    return false;
  }

  long read(char* to, size_t bytes) override {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(bytes, left_));
    const size_t got = wanted == 0 ? 0 : input_.read(to, wanted);
    left_ -= got;
    position_ += got;
    if (got < wanted) damaged_ = true;
    if (got < wanted) left_ = padding_ = 0;
    return static_cast<long>(got);
  }

 private:
  // Past what is left of the member. Result: false at the end.
  bool nextHeader() {
    if (damaged_ || !skip(left_ + padding_)) return false;
    left_ = padding_ = 0;
    const size_t got = readBlock();
    if (got == 0 && started_) return false;  // without the zeros at the end: quite usual
    const std::string_view block(block_, kHeaderBytes);
    if (got == kHeaderBytes && isZero(block)) return false;
    started_ = true;
    damaged_ = got < kHeaderBytes || !sumIsRight(block);
    if (damaged_) return false;
    if (hasData(block_[kKind])) setSize(numberOf(block, kSize));
    return !damaged_;
  }

  // Links and folders have none, whatever they tell.
  static bool hasData(char kind) { return kind < '1' || kind > '6'; }
  bool isFile(char kind) const {
    return (kind == 0 || kind == '0' || kind == '7' || kind == 'S') && !member_.name.ends_with('/');
  }

  void setSize(int64_t size) {
    damaged_ = damaged_ || size < 0 || static_cast<uint64_t>(size) > kMostSize;
    left_ = damaged_ ? 0 : static_cast<uint64_t>(size);
    padding_ = (kHeaderBytes - left_ % kHeaderBytes) % kHeaderBytes;
  }

  size_t readBlock() {
    const size_t got = input_.read(block_, kHeaderBytes);
    position_ += got;
    return got;
  }

  bool skip(uint64_t bytes) {
    if (input_.isSeekable()) {
      position_ += bytes;
      damaged_ = position_ > input_.size();
      input_.seek(position_);
      return !damaged_;
    }
    char buffer[4096];
    while (bytes != 0) {
      const auto piece = static_cast<size_t>(std::min<uint64_t>(bytes, sizeof buffer));
      if (input_.read(buffer, piece) != piece) {
        damaged_ = true;
        return false;
      }
      bytes -= piece;
    }
    return true;
  }

  // The contents of a header; empty when it is too large to be one.
  std::string readSmall() {
    if (left_ > kMostHeaderBytes) return {};
    std::string bytes(static_cast<size_t>(left_), '\0');
    bytes.resize(static_cast<size_t>(read(bytes.data(), bytes.size())));
    return bytes;
  }

  void readPax(std::string_view text) {
    while (!text.empty()) {
      size_t bytes = 0;
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
      const auto digits = static_cast<size_t>(end - text.data());
      if (error != std::errc() || bytes <= digits + 1 || bytes > text.size()) return;
      const std::string_view line = text.substr(digits + 1, bytes - digits - 2);
      text.remove_prefix(bytes);
      const size_t equals = std::min(line.find('='), line.size());
      const std::string_view key = line.substr(0, equals);
      const std::string_view value = line.substr(std::min(equals + 1, line.size()));
      if (key == "GNU.sparse.name" || (key == "path" && longName_.empty())) longName_ = value;
      if (key == "size") paxSize_ = value;
      if (key == "mtime") paxTime_ = value;
    }
  }

  // What the headers say about the member that stands here.
  void describe(std::string_view block) {
    std::string name = longName_;
    if (name.empty()) {
      // Behind "ustar " (GNU) other fields follow.
      if (block.substr(kMagic, 6) == std::string_view("ustar\0", 6)) name = textOf(block, kPrefix);
      if (!name.empty()) name += '/';
      name += textOf(block, kName);
    }
    setName(name, "WINDOWS-1252");
    int64_t number = 0;
    const auto parse = [&number](const std::string& text) {
      return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
    };
    member_.time = parse(paxTime_) ? number : numberOf(block, kTime);
    if (hasData(block[kKind]) && parse(paxSize_)) setSize(number);
    member_.size = left_;
    if (block[kKind] == 'S' && block[kMoreHoles] != 0) skipHoles();
  }

  void skipHoles() {
    do {
      damaged_ = readBlock() != kHeaderBytes;
    } while (!damaged_ && block_[kMoreHolesInNext] != 0);
  }

  ByteInput& input_;
  char block_[kHeaderBytes] = {};
  uint64_t position_ = 0;
  bool started_ = false;
  uint64_t left_ = 0;     // of the member's data
  uint64_t padding_ = 0;  // behind it
  std::string longName_;
  std::string paxSize_;
  std::string paxTime_;
};

}  // namespace

std::unique_ptr<ArchiveReader> openTar(ByteInput& input, std::string_view) {
  return std::make_unique<TarReader>(input);
}

bool isTar(std::string_view head) {
  return head.size() >= kHeaderBytes && head[0] != 0 && sumIsRight(head.substr(0, kHeaderBytes));
}

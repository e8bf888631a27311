#include "analyzers/unicode/package.h"

#include <algorithm>
#include <array>

#include "analyzers/zlibmemory.h"
#include "storage/bytes.h"

namespace veska::unicode {
namespace {

constexpr uint64_t kMostExpanded = uint64_t{2} << 30;
constexpr uint64_t kMostDirectoryBytes = uint64_t{16} << 20;
constexpr size_t kBlockBytes = 32768;
constexpr uint64_t kMostReread = 16;  // times the size of the input
constexpr uint64_t kAlwaysRead = uint64_t{64} << 20;
constexpr uint64_t kOpeningCost = 1024;  // of a part, in bytes read: many may be empty

// Layouts, in bytes from the beginning of each record.
constexpr std::string_view kLocalMark("PK\3\4", 4);
constexpr size_t kLocalBytes = 30;  // flags 6, method 8, packed size 18, lengths of name, extra 26
constexpr std::string_view kEntryMark("PK\1\2", 4);
constexpr size_t kEntryBytes = 46;  // flags 8, method 10, sum 16, sizes 20, lengths 28, place 42
constexpr std::string_view kEndMark("PK\5\6", 4);
constexpr size_t kEndBytes = 22;  // entries 10, bytes 12, place 16, length of comment 20
constexpr size_t kMostComment = 65535;
constexpr std::string_view kLargeEndMark("PK\6\6", 4);
constexpr size_t kLargeEndBytes = 56;  // entries 32, bytes 40, place 48
constexpr std::string_view kLocatorMark("PK\6\7", 4);
constexpr size_t kLocatorBytes = 20;  // place of the large end 8
constexpr uint32_t kInLarge = 0xFFFFFFFF;
constexpr uint16_t kLargeExtra = 1;

constexpr uint16_t kStored = 0;
constexpr uint16_t kDeflated = 8;

uint16_t number16(std::string_view bytes, size_t at) { return loadU16(bytes.data() + at); }
uint32_t number32(std::string_view bytes, size_t at) { return loadU32(bytes.data() + at); }
uint64_t number64(std::string_view bytes, size_t at) {
  return number32(bytes, at) | static_cast<uint64_t>(number32(bytes, at + 4)) << 32;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = lower(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

void appendUnescaped(std::string& to, std::string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    const bool escaped = text[i] == '%' && text.size() - i > 2 && hexValue(text[i + 1]) >= 0 &&
                         hexValue(text[i + 2]) >= 0;
    to += escaped ? static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])) : text[i];
    if (escaped) i += 2;
  }
}

bool comesBefore(std::string_view a, std::string_view b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char x, char y) { return lower(x) < lower(y); });
}

}  // namespace

Package::Package(ByteInput& input, uint64_t maxExpanded)
    : input_(input),
      left_(maxExpanded == 0 ? kMostExpanded : std::min(maxExpanded, kMostExpanded)),
      readLeft_(kAlwaysRead + kMostReread * input.size()) {
  Directory directory;
  open_ = findDirectory(directory) && readDirectory(directory);
  if (!open_) damaged_ = true;
}

const Package::Part* Package::find(std::string_view name) const {
  const auto found = std::lower_bound(
      byName_.begin(), byName_.end(), name,
      [this](uint32_t part, auto wanted) { return comesBefore(parts_[part].name, wanted); });
  return found == byName_.end() || comesBefore(name, parts_[*found].name) ? nullptr
                                                                          : &parts_[*found];
}

bool Package::spend(uint64_t bytes) {
  if (bytes > left_) spent_ = true;
  left_ -= std::min(bytes, left_);
  return !spent_;
}

bool Package::countRead(uint64_t bytes) {
  if (bytes > readLeft_) spent_ = true;
  readLeft_ -= std::min(bytes, readLeft_);
  return !spent_;
}

Outcome Package::outcome() const {
  if (spent_) return Outcome::kLimited;
  if (locked_) return Outcome::kNeedsPassword;
  return damaged_ ? Outcome::kDamaged : Outcome::kDone;
}

bool Package::readAt(uint64_t at, char* to, size_t bytes) {
  if (at > input_.size() || bytes > input_.size() - at) return false;
  input_.seek(at);
  return input_.read(to, bytes) == bytes;
}

// The record that ends the archive stands in front of a comment of any bytes: the last one that
// fits.
bool Package::findDirectory(Directory& directory) {
  const uint64_t size = input_.size();
  std::string tail(static_cast<size_t>(std::min<uint64_t>(size, kEndBytes + kMostComment)), '\0');
  const uint64_t tailAt = size - tail.size();
  if (tail.size() < kEndBytes || !readAt(tailAt, tail.data(), tail.size())) return false;
  for (size_t at = tail.rfind(kEndMark, tail.size() - kEndBytes); at != std::string::npos;
       at = at == 0 ? std::string::npos : tail.rfind(kEndMark, at - 1)) {
    const std::string_view end = std::string_view(tail).substr(at);
    if (number16(end, 20) > end.size() - kEndBytes) continue;
    const uint64_t endAt = tailAt + at;
    if (readLargeDirectory(endAt, directory)) return true;
    directory.entries = number16(end, 10);
    directory.bytes = number32(end, 12);
    directory.at = number32(end, 16);
    if (directory.bytes > endAt) return false;
    // Something may stand in front of the archive, which its places do not count.
    const uint64_t shouldBeAt = endAt - directory.bytes;
    if (shouldBeAt > directory.at) directory.shift = shouldBeAt - directory.at;
    return true;
  }
  return false;
}

bool Package::readLargeDirectory(uint64_t endAt, Directory& directory) {
  std::array<char, kLocatorBytes> locator;
  std::array<char, kLargeEndBytes> end;
  if (endAt < kLocatorBytes || !readAt(endAt - kLocatorBytes, locator.data(), locator.size()))
    return false;
  const std::string_view located(locator.data(), locator.size());
  if (!located.starts_with(kLocatorMark) || !readAt(number64(located, 8), end.data(), end.size()))
    return false;
  const std::string_view large(end.data(), end.size());
  if (!large.starts_with(kLargeEndMark)) return false;
  directory.entries = number64(large, 32);
  directory.bytes = number64(large, 40);
  directory.at = number64(large, 48);
  return true;
}

bool Package::readDirectory(const Directory& directory) {
  const uint64_t size = input_.size();
  if (directory.bytes > kMostDirectoryBytes || directory.at > size) return false;
  std::string bytes(static_cast<size_t>(directory.bytes), '\0');
  if (!readAt(directory.at + directory.shift, bytes.data(), bytes.size())) return false;
  std::string_view rest = bytes;
  while (rest.size() >= kEntryBytes && rest.starts_with(kEntryMark)) {
    const size_t nameBytes = number16(rest, 28);
    const size_t extraBytes = number16(rest, 30);
    const size_t commentBytes = number16(rest, 32);
    if (rest.size() - kEntryBytes < nameBytes + extraBytes + commentBytes) break;
    if (!addPart(rest, rest.substr(kEntryBytes, nameBytes),
                 rest.substr(kEntryBytes + nameBytes, extraBytes), directory.shift))
      damaged_ = true;
    rest.remove_prefix(kEntryBytes + nameBytes + extraBytes + commentBytes);
  }
  if (!rest.empty()) damaged_ = true;
  byName_.resize(parts_.size());
  for (uint32_t i = 0; i < byName_.size(); ++i) byName_[i] = i;
  std::stable_sort(byName_.begin(), byName_.end(), [this](uint32_t a, uint32_t b) {
    return comesBefore(parts_[a].name, parts_[b].name);
  });
  return !parts_.empty();
}

bool Package::addPart(std::string_view entry, std::string_view name, std::string_view extra,
                      uint64_t shift) {
  Part part = {
      std::string(name),   number32(entry, 42), number32(entry, 20),          number32(entry, 24),
      number32(entry, 16), number16(entry, 10), (number16(entry, 8) & 1) != 0};
  // Sizes and places that need more than 32 bits, in this order, those that do alone.
  while (extra.size() >= 4) {
    const size_t length = std::min<size_t>(number16(extra, 2), extra.size() - 4);
    std::string_view values = extra.substr(4, length);
    if (number16(extra, 0) == kLargeExtra) {
      for (uint64_t* value : {&part.bytes, &part.packedBytes, &part.headerAt}) {
        if (*value != kInLarge || values.size() < 8) continue;
        *value = number64(values, 0);
        values.remove_prefix(8);
      }
    }
    extra.remove_prefix(4 + length);
  }
  const uint64_t size = input_.size();
  if (part.headerAt > size || shift > size - part.headerAt || part.packedBytes > size) return false;
  part.headerAt += shift;
  std::replace(part.name.begin(), part.name.end(), '\\', '/');
  part.name.erase(0, std::min(part.name.find_first_not_of('/'), part.name.size()));
  parts_.push_back(std::move(part));
  return true;
}

PartInput::PartInput(Package& package, const Package::Part& part) : package_(package), part_(part) {
  ended_ = !open();
}

PartInput::~PartInput() {
  if (unpacking_) inflateEnd(&stream_);
}

bool PartInput::open() {
  if (!package_.countRead(kOpeningCost)) return false;
  if (part_.encrypted) {
    package_.locked_ = true;
    return false;
  }
  std::array<char, kLocalBytes> bytes;
  const std::string_view header(bytes.data(), bytes.size());
  const bool readable = package_.readAt(part_.headerAt, bytes.data(), bytes.size()) &&
                        header.starts_with(kLocalMark) &&
                        (part_.method == kStored || part_.method == kDeflated);
  if (readable) {
    at_ = part_.headerAt + kLocalBytes + number16(header, 26) + number16(header, 28);
    packedLeft_ = part_.packedBytes;
    unpacking_ =
        part_.method == kDeflated && memoryChecked(inflateInit2(&stream_, -MAX_WBITS)) == Z_OK;
  }
  if (!readable || (part_.method == kDeflated && !unpacking_)) {
    package_.damaged_ = true;
    return false;
  }
  if (unpacking_) block_ = std::make_unique_for_overwrite<char[]>(kBlockBytes);
  return true;
}

size_t PartInput::read(char* to, size_t bytes) {
  if (ended_ || package_.spent_) return 0;
  const size_t got = unpacking_ ? unpack(to, bytes) : copy(to, bytes);
  checksum_ = static_cast<uint32_t>(crc32_z(checksum_, reinterpret_cast<const Bytef*>(to), got));
  made_ += got;
  if (ended_ || got < bytes) finish();
  return package_.spend(got) ? got : 0;
}

size_t PartInput::copy(char* to, size_t bytes) {
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(bytes, packedLeft_));
  package_.input_.seek(at_);
  const size_t got = package_.input_.read(to, wanted);
  at_ += got;
  packedLeft_ -= got;
  return got;
}

size_t PartInput::unpack(char* to, size_t bytes) {
  constexpr size_t kMostAtOnce = size_t{1} << 30;
  bytes = std::min(bytes, kMostAtOnce);
  stream_.next_out = reinterpret_cast<Bytef*>(to);
  stream_.avail_out = static_cast<uInt>(bytes);
  while (stream_.avail_out != 0) {
    if (stream_.avail_in == 0 && !refill()) break;
    if (memoryChecked(inflate(&stream_, Z_NO_FLUSH)) == Z_OK) continue;
    ended_ = true;  // the end of the data, or of what can be read of it
    break;
  }
  return bytes - stream_.avail_out;
}

bool PartInput::refill() {
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(kBlockBytes, packedLeft_));
  package_.input_.seek(at_);
  const size_t got = wanted == 0 ? 0 : package_.input_.read(block_.get(), wanted);
  at_ += got;
  packedLeft_ -= got;
  stream_.next_in = reinterpret_cast<Bytef*>(block_.get());
  stream_.avail_in = static_cast<uInt>(got);
  return got != 0 && package_.countRead(got);
}

void PartInput::finish() {
  ended_ = true;
  if (made_ != part_.bytes || checksum_ != part_.checksum) package_.damaged_ = true;
}

bool headHoldsPart(std::string_view head, std::string_view namePrefix) {
  for (size_t at = head.starts_with(kLocalMark) ? 0 : std::string_view::npos;
       at != std::string_view::npos; at = head.find(kLocalMark, at + kLocalBytes)) {
    const std::string_view header = head.substr(at);
    if (header.size() < kLocalBytes) return false;
    const std::string_view name = header.substr(kLocalBytes, number16(header, 26));
    if (name.starts_with(namePrefix)) return true;
  }
  return false;
}

std::string_view firstPartName(std::string_view head) {
  if (!head.starts_with(kLocalMark) || head.size() < kLocalBytes) return {};
  return head.substr(kLocalBytes, number16(head, 26));
}

std::string_view storedFirst(std::string_view head, std::string_view name) {
  if (firstPartName(head) != name || number16(head, 8) != kStored) return {};
  const size_t dataAt = kLocalBytes + name.size() + number16(head, 28);
  if (dataAt > head.size()) return {};
  const std::string_view rest = head.substr(dataAt);
  // A size that comes after the data shows as 0.
  const size_t bytes = number32(head, 18);
  return rest.substr(0, bytes != 0 ? bytes : rest.find("PK"));
}

std::string resolvePart(std::string_view from, std::string_view reference) {
  reference = reference.substr(0, reference.find('#'));
  std::string path;
  if (!reference.starts_with('/')) path = from.substr(0, from.rfind('/') + 1);
  while (!reference.empty()) {
    const size_t end = std::min(reference.find('/'), reference.size());
    const std::string_view step = reference.substr(0, end);
    const bool inner = end < reference.size();
    reference.remove_prefix(std::min(end + 1, reference.size()));
    if (step == "..") {
      path.erase(path.size() < 2 ? 0 : path.rfind('/', path.size() - 2) + 1);
    } else if (!step.empty() && step != ".") {
      appendUnescaped(path, step);
      if (inner) path += '/';
    }
  }
  return path;
}

}  // namespace veska::unicode

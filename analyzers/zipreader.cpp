#include <minizip/unzip.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "analyzers/archivereader.h"
#include "analyzers/zlibmemory.h"

using namespace veska::unicode;

namespace {

constexpr uLong kEncrypted = 1 << 0;  // of the general purpose flags
constexpr uLong kUtf8Name = 1 << 11;
constexpr unsigned kUnicodePath = 0x7075;  // extra field
constexpr size_t kMostFieldBytes = 65536;

// Lets minizip read from a ByteInput.
struct Stream {
  ByteInput* input;
  uint64_t position;
};

Stream& streamOf(void* handle) { return *static_cast<Stream*>(handle); }

void* openStream(void* opaque, const void*, int) { return opaque; }

uLong readStream(void*, void* handle, void* to, uLong bytes) {
  Stream& stream = streamOf(handle);
  const size_t got = stream.input->read(static_cast<char*>(to), bytes);
  stream.position += got;
  return got;
}

uLong writeStream(void*, void*, const void*, uLong) { return 0; }

ZPOS64_T tellStream(void*, void* handle) { return streamOf(handle).position; }

long seekStream(void*, void* handle, ZPOS64_T offset, int origin) {
  Stream& stream = streamOf(handle);
  const uint64_t size = stream.input->size();
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) offset += stream.position;
  if (origin == ZLIB_FILEFUNC_SEEK_END) offset += size;
  if (offset > size) return -1;
  stream.position = offset;
  stream.input->seek(offset);
  return 0;
}

int closeStream(void*, void*) { return 0; }
int streamError(void*, void*) { return 0; }

// The local time that a member tells, as Unix seconds.
int64_t unixTime(const tm_unz& date) {
  struct tm local = {};
  local.tm_sec = static_cast<int>(date.tm_sec);
  local.tm_min = static_cast<int>(date.tm_min);
  local.tm_hour = static_cast<int>(date.tm_hour);
  local.tm_mday = static_cast<int>(date.tm_mday);
  local.tm_mon = static_cast<int>(date.tm_mon);
  local.tm_year = static_cast<int>(date.tm_year) - 1900;
  local.tm_isdst = -1;
  return mktime(&local);
}

unsigned littleEndian(std::string_view bytes) {
  unsigned value = 0;
  for (size_t i = bytes.size(); i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

// The name in UTF-8 that an extra field tells (APPNOTE 4.6.9), if it belongs to the name that
// stands in the directory; else empty.
std::string_view unicodePath(std::string_view extra, std::string_view name) {
  constexpr size_t kHeaderBytes = 4;
  constexpr size_t kFixedBytes = 5;  // version 1, CRC-32 of the name
  while (extra.size() >= kHeaderBytes) {
    const unsigned kind = littleEndian(extra.substr(0, 2));
    const std::string_view field = extra.substr(kHeaderBytes, littleEndian(extra.substr(2, 2)));
    extra.remove_prefix(kHeaderBytes + field.size());
    if (kind != kUnicodePath || field.size() <= kFixedBytes || field[0] != 1) continue;
    const uLong sum =
        crc32(0, reinterpret_cast<const Bytef*>(name.data()), static_cast<uInt>(name.size()));
    if (littleEndian(field.substr(1, 4)) == sum) return field.substr(kFixedBytes);
  }
  return {};
}

class ZipReader : public ArchiveReader {
 public:
  explicit ZipReader(ByteInput& input) : stream_{&input, 0}, name_(kMostFieldBytes, '\0') {
    zlib_filefunc64_def functions = {openStream, readStream,  writeStream, tellStream,
                                     seekStream, closeStream, streamError, &stream_};
    errno = 0;
    zip_.reset(memoryChecked(unzOpen2_64("", &functions)));
    unz_global_info64 global = {};
    damaged_ = zip_ == nullptr || unzGetGlobalInfo64(zip_.get(), &global) != UNZ_OK;
    entries_ = damaged_ ? 0 : global.number_entry;
    packedLeft_ = kMostReread * input.size();
  }

  bool next() override {
    while (!damaged_ && entry_ < entries_) {
      damaged_ = (entry_ != 0 && unzGoToNextFile(zip_.get()) != UNZ_OK) || !describe();
      ++entry_;
      if (!damaged_ && !member_.name.ends_with('/')) return true;
    }
    return false;
  }

  Opened open() override {
    if (info_.flag & kEncrypted) return Opened::kNeedsPassword;
    if (info_.compressed_size > packedLeft_) return Opened::kUnreadable;
    packedLeft_ -= info_.compressed_size;
    isOpen_ = memoryChecked(unzOpenCurrentFile(zip_.get())) == UNZ_OK;
    return isOpen_ ? Opened::kYes : Opened::kUnreadable;
  }

  long read(char* to, size_t bytes) override {
    constexpr size_t kMostPiece = size_t{1} << 30;
    if (!isOpen_ || bytes == 0) return 0;
    const int got = memoryChecked(
        unzReadCurrentFile(zip_.get(), to, static_cast<unsigned>(std::min(bytes, kMostPiece))));
    if (got > 0) return got;
    isOpen_ = false;
    if (got < 0) return got;
    return unzCloseCurrentFile(zip_.get()) == UNZ_CRCERROR ? -1 : 0;
  }

 private:
  struct Closer {
    void operator()(void* archive) const { unzClose(archive); }
  };

  bool describe() {
    extra_.resize(kMostFieldBytes);
    if (unzGetCurrentFileInfo64(zip_.get(), &info_, name_.data(), kMostFieldBytes, extra_.data(),
                                kMostFieldBytes, nullptr, 0) != UNZ_OK)
      return false;
    const std::string_view name(name_.data(), std::min<size_t>(info_.size_filename, name_.size()));
    const std::string_view extra(extra_.data(),
                                 std::min<size_t>(info_.size_file_extra, extra_.size()));
    const std::string_view better = unicodePath(extra, name);
    setName(better.empty() ? name : better, info_.flag & kUtf8Name ? "UTF-8" : "CP437");
    member_.time = unixTime(info_.tmu_date);
    member_.size = info_.uncompressed_size;
    return true;
  }

  // Members that share bytes may have this many times the archive's in all: a few kB of directory
  // would otherwise have the same bytes unpacked for hours, without any limit on what comes of it.
  static constexpr uint64_t kMostReread = 16;

  Stream stream_;
  std::unique_ptr<void, Closer> zip_;
  uint64_t packedLeft_ = 0;  // bytes of members that may still be read
  uint64_t entries_ = 0;
  uint64_t entry_ = 0;  // number of the member, from 1 on
  unz_file_info64 info_ = {};
  bool isOpen_ = false;
  std::string name_;
  std::string extra_;
};

}  // namespace

std::unique_ptr<ArchiveReader> openZip(ByteInput& input, std::string_view) {
  return std::make_unique<ZipReader>(input);
}

bool isZip(std::string_view head) {
  return head.starts_with("PK\3\4") || head.starts_with("PK\5\6");
}

#include "analyzers/archivereader.h"

#include <algorithm>

#include "analyzers/unicode/charset.h"

using namespace veska::unicode;

namespace {

constexpr size_t kMostNameBytes = 1000;

}  // namespace

void ArchiveReader::setName(std::string_view bytes, std::string_view charset) {
  bytes = bytes.substr(0, bytes.find('\0'));
  std::string& name = member_.name;
  name = validUtf8Prefix(bytes) == bytes.size() ? std::string(bytes) : decodeAll(bytes, charset);
  if (name.size() <= kMostNameBytes) return;
  size_t cut = kMostNameBytes;
  while (cut != 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
  name.resize(cut);
}

std::span<const ArchiveFormat, kArchiveFormats> archiveFormats() {
  static constexpr ArchiveFormat kFormats[kArchiveFormats] = {
      {"xz", "xz txz", false, true, true, openXz, isXz},
      {"bzip2", "bz2 tbz tbz2", false, true, true, openBzip2, isBzip2},
      {"zstd", "zst tzst", false, true, true, openZstd, isZstd},
      {"gzip", "gz tgz", false, true, true, openGzip, isGzip},
      {"zip", "zip", true, false, true, openZip, isZip},
      {"tar", "tar", false, false, false, openTar, isTar},
  };
  return kFormats;
}

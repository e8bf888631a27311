// The archives of the Unicode mode: one reader for each format, over any source of bytes. One
// analyzer (analyzers/archiveanalyzer.h) makes records of their members, and one text source
// (analyzers/unicode/archivesource.h) reads them where an archive is part of another document.

#ifndef VESKA_ANALYZERS_ARCHIVEREADER_H_
#define VESKA_ANALYZERS_ARCHIVEREADER_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "analyzers/unicode/textsource.h"

// An open archive, standing at one of its members.
class ArchiveReader {
 public:
  enum class Opened { kYes, kNeedsPassword, kUnreadable };

  struct Member {
    std::string name;   // UTF-8, with its folders; at most 1000 bytes
    int64_t time = 0;   // of its last change, Unix seconds; 0 when the archive does not tell
    uint64_t size = 0;  // 0 when the archive does not tell
  };

  virtual ~ArchiveReader() = default;

  // Moves on to the next member that is a file. Result: false when there is none.
  virtual bool next() = 0;
  const Member& member() const { return member_; }

  // REQUIRES: called before read, once for a member.
  virtual Opened open() { return Opened::kYes; }
  // Reads on in the member. Result: bytes read, 0 at its end, negative when it is damaged.
  virtual long read(char* to, size_t bytes) = 0;

  // Is it no archive of its format, or cut off?
  bool isDamaged() const { return damaged_; }

 protected:
  // Takes a name: converts it from charset where it is not UTF-8, and cuts it at a bound.
  void setName(std::string_view bytes, std::string_view charset);

  Member member_;
  bool damaged_ = false;
};

struct ArchiveFormat {
  // The name of its analyzer and its kind: "zip", ...
  std::string_view name;
  // Extensions without dots, lower case, separated by blanks.
  std::string_view extensions;
  // It is read at any place of the input.
  bool needsSeek;
  // It holds one member, whatever that is called.
  bool isSingle;
  // Its members are packed, so that the limits on what expands hold for them.
  bool expands;
  // input: outlives the reader. name: of the archive.
  std::unique_ptr<ArchiveReader> (*open)(veska::unicode::ByteInput& input, std::string_view name);
  bool (*recognise)(std::string_view head);
};

constexpr size_t kArchiveFormats = 6;

// All formats, those that are told by their first bytes more surely first.
std::span<const ArchiveFormat, kArchiveFormats> archiveFormats();

// ZIP (APPNOTE.TXT of PKWARE) through minizip. Names: UTF-8 where the archive says so or they are,
// else code page 437.
std::unique_ptr<ArchiveReader> openZip(veska::unicode::ByteInput& input, std::string_view name);
bool isZip(std::string_view head);

// TAR: v7, ustar, pax (POSIX.1-2001), GNU.
std::unique_ptr<ArchiveReader> openTar(veska::unicode::ByteInput& input, std::string_view name);
bool isTar(std::string_view head);

// A compressed file as an archive of one member, which is called what the file is called, less the
// extension; "x.tgz" and the like hold "x.tar". A file that is not compressed is its own member.
std::unique_ptr<ArchiveReader> openGzip(veska::unicode::ByteInput& input, std::string_view name);
std::unique_ptr<ArchiveReader> openXz(veska::unicode::ByteInput& input, std::string_view name);
std::unique_ptr<ArchiveReader> openBzip2(veska::unicode::ByteInput& input, std::string_view name);
std::unique_ptr<ArchiveReader> openZstd(veska::unicode::ByteInput& input, std::string_view name);
bool isGzip(std::string_view head);
bool isXz(std::string_view head);
bool isBzip2(std::string_view head);
bool isZstd(std::string_view head);

#endif  // VESKA_ANALYZERS_ARCHIVEREADER_H_

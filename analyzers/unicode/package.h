// A document that is a ZIP archive of parts (PKWARE, APPNOTE.TXT 6.3), read in place: office
// documents, e-books. Nothing in the archive is trusted: places and sizes are checked against the
// input, and all that is unpacked counts against one limit.

#ifndef VESKA_ANALYZERS_UNICODE_PACKAGE_H_
#define VESKA_ANALYZERS_UNICODE_PACKAGE_H_

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

class Package {
 public:
  struct Part {
    std::string name;  // with "/" between folders and none in front
    uint64_t headerAt;
    uint64_t packedBytes;
    uint64_t bytes;
    uint32_t checksum;
    uint16_t method;
    bool encrypted;
  };

  // Reads the directory. input: seekable, outlives the object. maxExpanded: bytes that may be
  // unpacked in all, 0 for no limit but our own. What is read to unpack them is limited by the
  // size of the input: parts may share bytes and be read several times, but not without end.
  Package(ByteInput& input, uint64_t maxExpanded);

  // Is it a ZIP archive with a directory that can be read?
  bool isOpen() const { return open_; }

  // In the order of the directory.
  const std::vector<Part>& parts() const { return parts_; }

  // The part of that name, in whatever case; null when there is none.
  const Part* find(std::string_view name) const;

  // Counts what is made of the package. Result: false once that is more than the limit.
  bool spend(uint64_t bytes);
  bool isSpent() const { return spent_; }

  // kLimited, kNeedsPassword or kDamaged when something that was read was so, else kDone.
  Outcome outcome() const;

 private:
  friend class PartInput;

  struct Directory {
    uint64_t at = 0;
    uint64_t bytes = 0;
    uint64_t entries = 0;
    uint64_t shift = 0;  // bytes in front of the archive
  };

  bool countRead(uint64_t bytes);
  bool readAt(uint64_t at, char* to, size_t bytes);
  bool findDirectory(Directory& directory);
  bool readLargeDirectory(uint64_t endAt, Directory& directory);
  bool readDirectory(const Directory& directory);
  bool addPart(std::string_view entry, std::string_view name, std::string_view extra,
               uint64_t shift);

  ByteInput& input_;
  uint64_t left_;      // bytes that may still be made
  uint64_t readLeft_;  // packed bytes that may still be read
  bool open_ = false;
  bool spent_ = false;
  bool damaged_ = false;
  bool locked_ = false;
  std::vector<Part> parts_;
  std::vector<uint32_t> byName_;  // numbers of parts
};

// The bytes of one part, unpacked as they are read. Several may be read at a time.
class PartInput : public ByteInput {
 public:
  // Both outlive the object.
  PartInput(Package& package, const Package::Part& part);
  ~PartInput() override;
  PartInput(const PartInput&) = delete;
  PartInput& operator=(const PartInput&) = delete;

  size_t read(char* to, size_t bytes) override;
  bool failed() const override { return package_.input_.failed(); }

 private:
  bool open();
  size_t copy(char* to, size_t bytes);
  size_t unpack(char* to, size_t bytes);
  bool refill();
  void finish();

  Package& package_;
  const Package::Part& part_;
  std::unique_ptr<char[]> block_;
  z_stream stream_ = {};
  bool unpacking_ = false;  // stream_ is set up
  bool ended_ = false;
  uint64_t at_ = 0;  // of the packed bytes that were not read yet
  uint64_t packedLeft_ = 0;
  uint64_t made_ = 0;
  uint32_t checksum_ = 0;
};

// Does the head of an archive show a member whose name begins so? head: its first bytes.
bool headHoldsPart(std::string_view head, std::string_view namePrefix);

// The name of the archive's first member; empty when head is no archive.
std::string_view firstPartName(std::string_view head);

// The bytes of the first member, as far as head has them, when it has that name and is stored, as
// the media types of ODF and EPUB are; else empty.
std::string_view storedFirst(std::string_view head, std::string_view name);

// The name of the part that a reference in another part means: relative to that part's folder, or
// to the package when it begins with "/"; without its fragment, percent signs decoded.
std::string resolvePart(std::string_view from, std::string_view reference);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_PACKAGE_H_

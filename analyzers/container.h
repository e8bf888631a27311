// What the analyzers of containers (archives, compressed files, mailboxes) share: the record of a
// member, the analyzer that its name selects, its way into a temporary file, and the limits.
//
// A member is known by its full name; patterns see its base name, what follows the last "/" or "\".
// Its record is a child of the container's record. Words of a member come from its bytes where they
// stand, or, when its analyzer wants a file, from a copy in the temporary directory that is removed
// afterwards. Without a temporary directory such members are passed over.
//
// Limits (fields of CVeskaIndex, 0: none): maxNesting containers within the top one; maxMemberBytes
// for each member that is a document, and for all copies that lie in the temporary directory at one
// time; maxArchiveBytes for all members of a top file together. What is cut short there keeps the
// words read so far, is counted in limitsReached and told as "LimitReached".

#ifndef VESKA_ANALYZERS_CONTAINER_H_
#define VESKA_ANALYZERS_CONTAINER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "analyzers/fileanalyzer.h"
#include "analyzers/tempfile.h"

// Marks that a container is being read, for as long as it lives.
class ContainerScope {
 public:
  // path: the file to read. The outermost scope starts the count of what is expanded.
  ContainerScope(CVeskaIndex& index, const char* path);
  ~ContainerScope();
  ContainerScope(const ContainerScope&) = delete;
  ContainerScope& operator=(const ContainerScope&) = delete;

  // Too many containers lie around this one (told and counted): it is not to be read.
  bool tooDeep() const { return tooDeep_; }
  // The limit of the top file is reached: no further member is to be read.
  bool exhausted() const;
  // Names the member that reports from now on are about.
  void beginMember(std::string_view name);
  // Tells that something is wrong with the container itself.
  void report(const char* key, int systemError = 0) const;

 private:
  CVeskaIndex& index_;
  std::string path_;  // as people see it: archive/member/member
  bool tooDeep_;
};

// Reads up to so many bytes of a member to where it is told. Result: their count, 0 at the end,
// negative when the data is damaged.
using MemberSource = std::function<long(char* to, size_t bytes)>;

// A member's bytes as far as the limits let them come.
class MemberStream {
 public:
  enum class State { kOpen, kEnded, kLimited, kDamaged };
  enum class Use {
    kDocument,  // read where it stands
    kArchive,   // read where it stands, its members being what counts
    kCopy,      // into the temporary directory
  };

  // The member is the one that was begun last. expands: it is packed; of one that stands in its
  // archive as it is only a copy is limited.
  MemberStream(CVeskaIndex& index, MemberSource source, Use use, bool expands = true);

  // Result: bytes read; 0 when the state is no longer open.
  size_t read(char* to, size_t bytes);

  State state() const { return state_; }
  uint64_t bytes() const { return bytes_; }

 private:
  uint64_t room() const;
  void reachLimit();

  CVeskaIndex& index_;
  MemberSource source_;
  Use use_;
  bool expands_;
  std::string path_;  // as people see it
  State state_ = State::kOpen;
  uint64_t bytes_ = 0;
};

// A member's copy in a temporary file, which goes with the object.
class MemberCopy {
 public:
  enum class Result { kWhole, kLimited, kDamaged, kNotWritten };

  // Makes the file. isOpen tells whether that was possible; if not, it was reported.
  MemberCopy(CVeskaIndex& index, std::string path);
  ~MemberCopy();

  bool isOpen() const { return file_.isOpen(); }
  const std::string& path() const { return file_.path(); }
  uint64_t bytes() const { return bytes_; }

  // Copies the member, and closes the file. Whatever kept it from being whole is reported. expands:
  // as for MemberStream.
  Result fill(MemberSource source, bool expands = true);

  // Leaves the file behind when the object goes. REQUIRES: filled.
  void keep();

 private:
  Result copy(MemberStream& stream);

  CVeskaIndex& index_;
  TempFile file_;
  uint64_t bytes_ = 0;
  bool kept_ = false;
};

class CContainerAnalyzer : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;

  // False: words come from the members.
  bool canUseIndexBuffer() override;

 protected:
  struct Member {
    uint32_t id = 0;                    // its record; 0: it is passed over
    CFileAnalyzer* analyzer = nullptr;  // null: it is recorded only
  };

  // What follows the last "/" or "\".
  static std::string_view baseName(std::string_view name);
  // A number as the signed 32 bits that a record holds for a time.
  static int32_t recordTime(int64_t seconds);

  // The analyzer that a base name selects; null when there is none or the name is excluded.
  CFileAnalyzer* memberAnalyzer(const std::string& base) const;

  // Is the member to be recorded at all?
  bool isWanted(const CFileAnalyzer* analyzer) const;

  // In update mode: has the member a record, and is it no newer than the reference time?
  bool isUpToDate(const char* name, unsigned long parentId, int64_t time) const;

  // Finds or adds the record of a member, and fills it. Result: its id.
  uint32_t enterRecord(const char* name, unsigned long parentId, int64_t time, uint32_t size);

  // All of the above, as for a member of an archive.
  Member enterMember(const char* name, unsigned long parentId, int64_t time, uint32_t size);

  // The time of the container that is the record parentId, Unix seconds, for members that have none
  // of their own.
  int64_t containerTime(const char* path, unsigned long parentId) const;

  // Path of the copy of a member, empty without a temporary directory.
  std::string copyPath(uint32_t recordId, std::string_view base) const;

  // Copies a member of a top file to tempPath, a file that stays, for display. Result: false when
  // it could not be written.
  bool extract(const char* container, const char* member, const char* tempPath,
               MemberSource source) const;
  // The same for the member begun last. expands: as for MemberStream.
  bool copyOut(const char* tempPath, MemberSource source, bool expands = true) const;

  // Notes that the system refused to open a container, so that it is tried again.
  void openFailed(const ContainerScope& scope) const;
  // Likewise when it refused to read on.
  void readFailed(const ContainerScope& scope) const;
};

#endif  // VESKA_ANALYZERS_CONTAINER_H_

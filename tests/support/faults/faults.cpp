// Loaded in front of the C library (LD_PRELOAD), makes one call of the program fail. The calls of
// each kind are counted from 1 in the order in which the program makes them; children that the
// program starts are left alone.
//
//   FAULT_KIND    which kind of call ("open", "malloc", ... : see kKinds)
//   FAULT_NUMBER  which call of that kind; 0: none
//   FAULT_ERRNO   the number of the error
//   FAULT_REPORT  file to which the counts of all kinds are written when the program ends, a line
//                 each ("open 12"), and when the call fails a line "failed" with what is known of
//                 it
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Defines `name` of the C library under a name of our own, which the header cannot disagree with.
#define WRAP(result, name, parameters)              \
  extern "C" __attribute__((visibility("default"))) \
  result wrapped_##name parameters __asm__(#name);  \
  result wrapped_##name parameters
// The function that we stand in front of.
#define REAL(name) static const auto real = next(&wrapped_##name, #name)

extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
}

namespace {

enum Kind : int {
  kOpen,
  kFopen,
  kRead,
  kFread,
  kWrite,
  kFwrite,
  kFclose,
  kFtruncate,
  kFallocate,
  kMmap,
  kMremap,
  kMunmap,
  kOpendir,
  kReaddir,
  kStat,
  kRename,
  kFsync,
  kMkdir,
  kSymlink,
  kReadlink,
  kCopy,
  kMalloc,
  kKindCount
};
constexpr const char* kKinds[kKindCount] = {
    "open",      "fopen", "read",    "fread",    "write",   "fwrite",  "fclose", "ftruncate",
    "fallocate", "mmap",  "mremap",  "munmap",   "opendir", "readdir", "stat",   "rename",
    "fsync",     "mkdir", "symlink", "readlink", "copy",    "malloc"};

struct Plan {
  bool active = false;
  int kind = -1;
  long number = 0;
  int error = 0;
  char report[4096] = {};
  long counts[kKindCount] = {};
};
Plan plan;

// By system calls of its own, so that nothing here is counted.
void writeReport(const char* text, size_t bytes) {
  if (plan.report[0] == '\0') return;
  const long file =
      syscall(SYS_openat, AT_FDCWD, plan.report, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0) return;
  syscall(SYS_write, file, text, bytes);
  syscall(SYS_close, file);
}

void tellFailure(int kind, const char* what) {
  char line[1024];
  const int length = std::snprintf(line, sizeof line, "failed %s %ld %.900s\n", kKinds[kind],
                                   plan.number, what != nullptr ? what : "");
  writeReport(line, static_cast<size_t>(length));
}

// Counts the call. Result: whether it is to fail; errno is then set.
bool fails(Kind kind, const char* what = nullptr) {
  if (!plan.active) return false;
  const long count = __atomic_add_fetch(&plan.counts[kind], 1, __ATOMIC_RELAXED);
  if (kind != plan.kind || count != plan.number) return false;
  tellFailure(kind, what);
  errno = plan.error;
  return true;
}

template <typename Function>
Function next(Function, const char* name) {
  Function function = nullptr;
  void* const found = dlsym(RTLD_NEXT, name);
  std::memcpy(&function, &found, sizeof function);
  return function;
}

void leaveChildrenAlone() { plan.active = false; }

__attribute__((constructor)) void start() {
  const char* const kind = std::getenv("FAULT_KIND");
  const char* const number = std::getenv("FAULT_NUMBER");
  const char* const error = std::getenv("FAULT_ERRNO");
  const char* const report = std::getenv("FAULT_REPORT");
  if (report != nullptr) std::snprintf(plan.report, sizeof plan.report, "%s", report);
  for (int each = 0; kind != nullptr && each < kKindCount; ++each) {
    if (std::strcmp(kKinds[each], kind) == 0) plan.kind = each;
  }
  plan.number = number != nullptr ? std::atol(number) : 0;
  plan.error = error != nullptr ? std::atoi(error) : EIO;
  unsetenv("LD_PRELOAD");
  pthread_atfork(nullptr, nullptr, leaveChildrenAlone);
  plan.active = true;
}

__attribute__((destructor)) void finish() {
  if (!plan.active) return;
  plan.active = false;
  char text[1024];
  size_t length = 0;
  for (int kind = 0; kind < kKindCount; ++kind) {
    length += static_cast<size_t>(std::snprintf(text + length, sizeof text - length, "%s %ld\n",
                                                kKinds[kind], plan.counts[kind]));
  }
  writeReport(text, length);
}

constexpr int kStreamErrorFlag = 0x20;  // what ferror() of the GNU C library looks at

void markBroken(FILE* stream) { stream->_flags |= kStreamErrorFlag; }

}  // namespace

#define WRAP_OPEN(name)                                         \
  WRAP(int, name, (const char* path, int flags, mode_t mode)) { \
    REAL(name);                                                 \
    return fails(kOpen, path) ? -1 : real(path, flags, mode);   \
  }
#define WRAP_OPENAT(name)                                                   \
  WRAP(int, name, (int folder, const char* path, int flags, mode_t mode)) { \
    REAL(name);                                                             \
    return fails(kOpen, path) ? -1 : real(folder, path, flags, mode);       \
  }
#define WRAP_FOPEN(name)                                     \
  WRAP(FILE*, name, (const char* path, const char* mode)) {  \
    REAL(name);                                              \
    return fails(kFopen, path) ? nullptr : real(path, mode); \
  }
// A call with two paths, the second in force for the report.
#define WRAP_PATHS(name, kind)                               \
  WRAP(int, name, (const char* first, const char* second)) { \
    REAL(name);                                              \
    return fails(kind, second) ? -1 : real(first, second);   \
  }
#define WRAP_STAT(name)                                  \
  WRAP(int, name, (const char* path, void* status)) {    \
    REAL(name);                                          \
    return fails(kStat, path) ? -1 : real(path, status); \
  }
#define WRAP_FSTAT(name)                           \
  WRAP(int, name, (int file, void* status)) {      \
    REAL(name);                                    \
    return fails(kStat) ? -1 : real(file, status); \
  }
#define WRAP_FSTATAT(name)                                                   \
  WRAP(int, name, (int folder, const char* path, void* status, int flags)) { \
    REAL(name);                                                              \
    return fails(kStat, path) ? -1 : real(folder, path, status, flags);      \
  }
#define WRAP_ON_FILE(name, kind)          \
  WRAP(int, name, (int file)) {           \
    REAL(name);                           \
    return fails(kind) ? -1 : real(file); \
  }

// --- Opening and closing

WRAP_OPEN(open)
WRAP_OPEN(open64)
WRAP_OPENAT(openat)
WRAP_OPENAT(openat64)
WRAP_FOPEN(fopen)
WRAP_FOPEN(fopen64)

WRAP(FILE*, fdopen, (int file, const char* mode)) {
  REAL(fdopen);
  return fails(kFopen) ? nullptr : real(file, mode);
}

// The stream is gone whatever the result.
WRAP(int, fclose, (FILE * stream)) {
  REAL(fclose);
  const bool failing = fails(kFclose);
  const int result = real(stream);
  if (failing) errno = plan.error;
  return failing ? EOF : result;
}

WRAP(DIR*, opendir, (const char* path)) {
  REAL(opendir);
  return fails(kOpendir, path) ? nullptr : real(path);
}

WRAP(DIR*, fdopendir, (int file)) {
  REAL(fdopendir);
  return fails(kOpendir) ? nullptr : real(file);
}

// --- Reading and writing

#define WRAP_TRANSFER(name, kind, pointer)                       \
  WRAP(ssize_t, name, (int file, pointer bytes, size_t count)) { \
    REAL(name);                                                  \
    return fails(kind) ? -1 : real(file, bytes, count);          \
  }
#define WRAP_TRANSFER_AT(name, kind, pointer)                                \
  WRAP(ssize_t, name, (int file, pointer bytes, size_t count, off64_t at)) { \
    REAL(name);                                                              \
    return fails(kind) ? -1 : real(file, bytes, count, at);                  \
  }

WRAP_TRANSFER(read, kRead, void*)
WRAP_TRANSFER_AT(pread, kRead, void*)
WRAP_TRANSFER_AT(pread64, kRead, void*)
WRAP_TRANSFER(write, kWrite, const void*)
WRAP_TRANSFER_AT(pwrite, kWrite, const void*)
WRAP_TRANSFER_AT(pwrite64, kWrite, const void*)

WRAP(ssize_t, __read_chk, (int file, void* bytes, size_t count, size_t size)) {
  REAL(__read_chk);
  return fails(kRead) ? -1 : real(file, bytes, count, size);
}

WRAP(ssize_t, __pread64_chk, (int file, void* bytes, size_t count, off64_t at, size_t size)) {
  REAL(__pread64_chk);
  return fails(kRead) ? -1 : real(file, bytes, count, at, size);
}

WRAP(size_t, fread, (void* to, size_t size, size_t count, FILE* stream)) {
  REAL(fread);
  if (!fails(kFread)) return real(to, size, count, stream);
  markBroken(stream);
  return 0;
}

WRAP(size_t, __fread_chk, (void* to, size_t room, size_t size, size_t count, FILE* stream)) {
  REAL(__fread_chk);
  if (!fails(kFread)) return real(to, room, size, count, stream);
  markBroken(stream);
  return 0;
}

WRAP(int, fgetc, (FILE * stream)) {
  REAL(fgetc);
  if (!fails(kFread)) return real(stream);
  markBroken(stream);
  return EOF;
}

WRAP(size_t, fwrite, (const void* from, size_t size, size_t count, FILE* stream)) {
  REAL(fwrite);
  if (!fails(kFwrite)) return real(from, size, count, stream);
  markBroken(stream);
  return 0;
}

WRAP(int, fflush, (FILE * stream)) {
  REAL(fflush);
  if (!fails(kFwrite)) return real(stream);
  markBroken(stream);
  return EOF;
}

WRAP(ssize_t, copy_file_range,
     (int from, off64_t* fromAt, int to, off64_t* toAt, size_t count, unsigned flags)) {
  REAL(copy_file_range);
  return fails(kCopy) ? -1 : real(from, fromAt, to, toAt, count, flags);
}

WRAP(struct dirent*, readdir, (DIR * stream)) {
  REAL(readdir);
  return fails(kReaddir) ? nullptr : real(stream);
}

WRAP(struct dirent*, readdir64, (DIR * stream)) {
  REAL(readdir64);
  return fails(kReaddir) ? nullptr : real(stream);
}

// --- Sizes and mappings

#define WRAP_TRUNCATE(name)                             \
  WRAP(int, name, (int file, off64_t length)) {         \
    REAL(name);                                         \
    return fails(kFtruncate) ? -1 : real(file, length); \
  }
// These give the number of the error, and leave errno alone.
#define WRAP_RESERVE(name)                                    \
  WRAP(int, name, (int file, off64_t from, off64_t length)) { \
    REAL(name);                                               \
    const int before = errno;                                 \
    if (!fails(kFallocate)) return real(file, from, length);  \
    errno = before;                                           \
    return plan.error;                                        \
  }
#define WRAP_MAP(name)                                                                  \
  WRAP(void*, name,                                                                     \
       (void* at, size_t length, int protection, int flags, int file, off64_t from)) {  \
    REAL(name);                                                                         \
    return fails(kMmap) ? MAP_FAILED : real(at, length, protection, flags, file, from); \
  }

WRAP_TRUNCATE(ftruncate)
WRAP_TRUNCATE(ftruncate64)
WRAP_RESERVE(posix_fallocate)
WRAP_RESERVE(posix_fallocate64)
WRAP_MAP(mmap)
WRAP_MAP(mmap64)

WRAP(void*, mremap, (void* at, size_t before, size_t now, int flags, void* to)) {
  REAL(mremap);
  return fails(kMremap) ? MAP_FAILED : real(at, before, now, flags, to);
}

WRAP(int, munmap, (void* at, size_t length)) {
  REAL(munmap);
  return fails(kMunmap) ? -1 : real(at, length);
}

// --- Status, names, folders

WRAP_STAT(stat)
WRAP_STAT(stat64)
WRAP_STAT(lstat)
WRAP_STAT(lstat64)
WRAP_FSTAT(fstat)
WRAP_FSTAT(fstat64)
WRAP_FSTATAT(fstatat)
WRAP_FSTATAT(fstatat64)
WRAP_PATHS(rename, kRename)
WRAP_PATHS(symlink, kSymlink)
WRAP_ON_FILE(fsync, kFsync)
WRAP_ON_FILE(fdatasync, kFsync)

WRAP(int, mkdir, (const char* path, mode_t mode)) {
  REAL(mkdir);
  return fails(kMkdir, path) ? -1 : real(path, mode);
}

WRAP(ssize_t, readlink, (const char* path, char* target, size_t size)) {
  REAL(readlink);
  return fails(kReadlink, path) ? -1 : real(path, target, size);
}

WRAP(char*, realpath, (const char* path, char* resolved)) {
  REAL(realpath);
  return fails(kReadlink, path) ? nullptr : real(path, resolved);
}

// --- Memory

WRAP(void*, malloc, (size_t bytes)) { return fails(kMalloc) ? nullptr : __libc_malloc(bytes); }

WRAP(void*, calloc, (size_t count, size_t bytes)) {
  return fails(kMalloc) ? nullptr : __libc_calloc(count, bytes);
}

WRAP(void*, realloc, (void* block, size_t bytes)) {
  return fails(kMalloc) ? nullptr : __libc_realloc(block, bytes);
}

WRAP(void*, aligned_alloc, (size_t alignment, size_t bytes)) {
  return fails(kMalloc) ? nullptr : __libc_memalign(alignment, bytes);
}

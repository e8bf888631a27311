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
#include <iterator>
#include <string_view>

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

constexpr const char* kKinds[] = {"open",    "fopen",     "read",      "fread",  "write",  "fwrite",
                                  "fclose",  "ftruncate", "fallocate", "mmap",   "mremap", "munmap",
                                  "opendir", "readdir",   "stat",      "rename", "fsync",  "mkdir",
                                  "symlink", "readlink",  "copy",      "malloc"};
constexpr int kKindCount = std::size(kKinds);

// The place of a kind in kKinds, found when this is compiled.
struct Kind {
  consteval Kind(const char* name) {
    while (std::string_view(name) != kKinds[number]) ++number;
  }
  int number = 0;
};

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
  const long count = __atomic_add_fetch(&plan.counts[kind.number], 1, __ATOMIC_RELAXED);
  if (kind.number != plan.kind || count != plan.number) return false;
  tellFailure(kind.number, what);
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

// As fails(); the stream then shows its error.
bool failsOn(FILE* stream, Kind kind) {
  if (!fails(kind)) return false;
  stream->_flags |= kStreamErrorFlag;
  return true;
}

// As fails(); errno stays as it was.
bool failsQuietly(Kind kind) {
  const int before = errno;
  const bool failing = fails(kind);
  errno = before;
  return failing;
}

}  // namespace

// A call that gives `failure` in place of what `call`, by the name of `real`, would give.
#define WRAP_CALL(result, name, parameters, failing, failure, call) \
  WRAP(result, name, parameters) {                                  \
    REAL(name);                                                     \
    return failing ? failure : call;                                \
  }
// The same for a function and for its twin for large files.
#define WRAP_CALL64(result, name, parameters, failing, failure, call) \
  WRAP_CALL(result, name, parameters, failing, failure, call)         \
  WRAP_CALL(result, name##64, parameters, failing, failure, call)
// One that marks its stream as broken.
#define WRAP_STREAM(result, name, parameters, kind, failure, call) \
  WRAP_CALL(result, name, parameters, failsOn(stream, kind), failure, call)

// --- Opening and closing

WRAP_CALL64(int, open, (const char* path, int flags, mode_t mode), fails("open", path), -1,
            real(path, flags, mode))
WRAP_CALL64(int, openat, (int folder, const char* path, int flags, mode_t mode),
            fails("open", path), -1, real(folder, path, flags, mode))
WRAP_CALL64(FILE*, fopen, (const char* path, const char* mode), fails("fopen", path), nullptr,
            real(path, mode))
WRAP_CALL(FILE*, fdopen, (int file, const char* mode), fails("fopen"), nullptr, real(file, mode))
WRAP_CALL(DIR*, opendir, (const char* path), fails("opendir", path), nullptr, real(path))
WRAP_CALL(DIR*, fdopendir, (int file), fails("opendir"), nullptr, real(file))

// The stream is gone whatever the result.
WRAP(int, fclose, (FILE * stream)) {
  REAL(fclose);
  const bool failing = fails("fclose");
  const int result = real(stream);
  if (failing) errno = plan.error;
  return failing ? EOF : result;
}

// --- Reading and writing

WRAP_CALL(ssize_t, read, (int file, void* bytes, size_t count), fails("read"), -1,
          real(file, bytes, count))
WRAP_CALL64(ssize_t, pread, (int file, void* bytes, size_t count, off64_t at), fails("read"), -1,
            real(file, bytes, count, at))
WRAP_CALL(ssize_t, write, (int file, const void* bytes, size_t count), fails("write"), -1,
          real(file, bytes, count))
WRAP_CALL64(ssize_t, pwrite, (int file, const void* bytes, size_t count, off64_t at),
            fails("write"), -1, real(file, bytes, count, at))
WRAP_CALL(ssize_t, __read_chk, (int file, void* bytes, size_t count, size_t size), fails("read"),
          -1, real(file, bytes, count, size))
WRAP_CALL(ssize_t, __pread64_chk, (int file, void* bytes, size_t count, off64_t at, size_t size),
          fails("read"), -1, real(file, bytes, count, at, size))
WRAP_STREAM(size_t, fread, (void* to, size_t size, size_t count, FILE* stream), "fread", 0,
            real(to, size, count, stream))
WRAP_STREAM(size_t, __fread_chk, (void* to, size_t room, size_t size, size_t count, FILE* stream),
            "fread", 0, real(to, room, size, count, stream))
WRAP_STREAM(int, fgetc, (FILE * stream), "fread", EOF, real(stream))
WRAP_STREAM(size_t, fwrite, (const void* from, size_t size, size_t count, FILE* stream), "fwrite",
            0, real(from, size, count, stream))
WRAP_STREAM(int, fflush, (FILE * stream), "fwrite", EOF, real(stream))
WRAP_CALL(ssize_t, copy_file_range,
          (int from, off64_t* fromAt, int to, off64_t* toAt, size_t count, unsigned flags),
          fails("copy"), -1, real(from, fromAt, to, toAt, count, flags))
WRAP_CALL64(struct dirent*, readdir, (DIR * stream), fails("readdir"), nullptr, real(stream))

// --- Sizes and mappings

WRAP_CALL64(int, ftruncate, (int file, off64_t length), fails("ftruncate"), -1, real(file, length))
WRAP_CALL64(void*, mmap,
            (void* at, size_t length, int protection, int flags, int file, off64_t from),
            fails("mmap"), MAP_FAILED, real(at, length, protection, flags, file, from))
WRAP_CALL(void*, mremap, (void* at, size_t before, size_t now, int flags, void* to),
          fails("mremap"), MAP_FAILED, real(at, before, now, flags, to))
WRAP_CALL(int, munmap, (void* at, size_t length), fails("munmap"), -1, real(at, length))
// These give the number of the error, and leave errno alone.
WRAP_CALL64(int, posix_fallocate, (int file, off64_t from, off64_t length),
            failsQuietly("fallocate"), plan.error, real(file, from, length))

// --- Status, names, folders

WRAP_CALL64(int, stat, (const char* path, void* status), fails("stat", path), -1,
            real(path, status))
WRAP_CALL64(int, lstat, (const char* path, void* status), fails("stat", path), -1,
            real(path, status))
WRAP_CALL64(int, fstat, (int file, void* status), fails("stat"), -1, real(file, status))
WRAP_CALL64(int, fstatat, (int folder, const char* path, void* status, int flags),
            fails("stat", path), -1, real(folder, path, status, flags))
WRAP_CALL(int, rename, (const char* from, const char* to), fails("rename", to), -1, real(from, to))
WRAP_CALL(int, symlink, (const char* target, const char* link), fails("symlink", link), -1,
          real(target, link))
WRAP_CALL(int, fsync, (int file), fails("fsync"), -1, real(file))
WRAP_CALL(int, fdatasync, (int file), fails("fsync"), -1, real(file))
WRAP_CALL(int, mkdir, (const char* path, mode_t mode), fails("mkdir", path), -1, real(path, mode))
WRAP_CALL(ssize_t, readlink, (const char* path, char* target, size_t size), fails("readlink", path),
          -1, real(path, target, size))
WRAP_CALL(char*, realpath, (const char* path, char* resolved), fails("readlink", path), nullptr,
          real(path, resolved))

// --- Memory

WRAP(void*, malloc, (size_t bytes)) { return fails("malloc") ? nullptr : __libc_malloc(bytes); }
WRAP(void*, calloc, (size_t count, size_t bytes)) {
  return fails("malloc") ? nullptr : __libc_calloc(count, bytes);
}
WRAP(void*, realloc, (void* block, size_t bytes)) {
  return fails("malloc") ? nullptr : __libc_realloc(block, bytes);
}
WRAP(void*, aligned_alloc, (size_t alignment, size_t bytes)) {
  return fails("malloc") ? nullptr : __libc_memalign(alignment, bytes);
}

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

#include "analyzers/decoder.h"
#include "analyzers/lazylibrary.h"
#include "analyzers/zlibmemory.h"

namespace {

// The longest piece that all libraries can count.
size_t piece(size_t bytes) { return std::min(bytes, size_t{1} << 30); }

// ---- gzip

class GzipDecoder : public Decoder {
 public:
  ~GzipDecoder() override { end(); }

  bool begin() override {
    constexpr int kGzipOnly = 16;
    end();
    stream_ = {};
    begun_ = memoryChecked(inflateInit2(&stream_, MAX_WBITS + kGzipOnly)) == Z_OK;
    return begun_;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    // zlib does not write to its input.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    stream_.avail_in = static_cast<uInt>(piece(in.size()));
    stream_.next_out = reinterpret_cast<Bytef*>(to);
    stream_.avail_out = static_cast<uInt>(piece(bytes));
    const int result = memoryChecked(inflate(&stream_, Z_NO_FLUSH));
    in.remove_prefix(piece(in.size()) - stream_.avail_in);
    *written = piece(bytes) - stream_.avail_out;
    if (result == Z_STREAM_END) return State::kEnded;
    return result == Z_OK || result == Z_BUF_ERROR ? State::kGoesOn : State::kDamaged;
  }

 private:
  void end() {
    if (begun_) inflateEnd(&stream_);
    begun_ = false;
  }

  z_stream stream_ = {};
  bool begun_ = false;
};

// As memoryChecked, for libraries whose result for a lack of memory is that one.
template <typename Result>
Result checkedFor(Result lack, Result result) {
  if (result == lack) throw std::bad_alloc();
  return result;
}

// What a decoder holds of the memory that those open at one time may have together: files packed
// many times over open one for each layer. There is room for the largest window that "zstd" takes
// without being told to, 128 MiB; "xz -9" needs 65 MiB.
class MemoryShare {
 public:
  MemoryShare() = default;
  ~MemoryShare() { hold(0); }
  MemoryShare(const MemoryShare&) = delete;
  MemoryShare& operator=(const MemoryShare&) = delete;

  // Bytes that the others leave, at least 1.
  uint64_t room() const {
    const uint64_t others = heldByAll_ - held_;
    return others < kMost ? kMost - others : 1;
  }
  void hold(uint64_t bytes) {
    heldByAll_ += bytes - held_;
    held_ = bytes;
  }

 private:
  static constexpr uint64_t kMost = uint64_t{140} << 20;
  static inline thread_local uint64_t heldByAll_ = 0;
  uint64_t held_ = 0;
};

// ---- xz

struct Lzma {
  decltype(&::lzma_stream_decoder) decoder = nullptr;
  decltype(&::lzma_code) code = nullptr;
  decltype(&::lzma_memusage) memory = nullptr;
  decltype(&::lzma_end) end = nullptr;
  bool complete = false;
};

// Null where the library is missing.
const Lzma* lzma() {
  static const Lzma loaded = [] {
    Lzma functions;
    LazyLibrary library("liblzma.so.5");
    library.find(functions.decoder, "lzma_stream_decoder");
    library.find(functions.code, "lzma_code");
    library.find(functions.memory, "lzma_memusage");
    library.find(functions.end, "lzma_end");
    functions.complete = library.isComplete();
    return functions;
  }();
  return loaded.complete ? &loaded : nullptr;
}

class XzDecoder : public Decoder {
 public:
  ~XzDecoder() override {
    if (library_ != nullptr) library_->end(&stream_);
  }

  bool begin() override {
    library_ = lzma();
    return library_ != nullptr &&
           checkedFor(LZMA_MEM_ERROR, library_->decoder(&stream_, share_.room(), 0)) == LZMA_OK;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    stream_.next_in = reinterpret_cast<const uint8_t*>(in.data());
    stream_.avail_in = in.size();
    stream_.next_out = reinterpret_cast<uint8_t*>(to);
    stream_.avail_out = bytes;
    const lzma_ret result = checkedFor(LZMA_MEM_ERROR, library_->code(&stream_, LZMA_RUN));
    share_.hold(library_->memory(&stream_));
    in.remove_prefix(in.size() - stream_.avail_in);
    *written = bytes - stream_.avail_out;
    if (result == LZMA_STREAM_END) return State::kEnded;
    return result == LZMA_OK || result == LZMA_BUF_ERROR ? State::kGoesOn : State::kDamaged;
  }

 private:
  const Lzma* library_ = nullptr;
  lzma_stream stream_ = LZMA_STREAM_INIT;
  MemoryShare share_;
};

// ---- bzip2

struct Bzip2 {
  decltype(&::BZ2_bzDecompressInit) init = nullptr;
  decltype(&::BZ2_bzDecompress) decompress = nullptr;
  decltype(&::BZ2_bzDecompressEnd) end = nullptr;
  bool complete = false;
};

// Null where the library is missing.
const Bzip2* bzip2() {
  static const Bzip2 loaded = [] {
    Bzip2 functions;
    LazyLibrary library("libbz2.so.1.0");
    library.find(functions.init, "BZ2_bzDecompressInit");
    library.find(functions.decompress, "BZ2_bzDecompress");
    library.find(functions.end, "BZ2_bzDecompressEnd");
    functions.complete = library.isComplete();
    return functions;
  }();
  return loaded.complete ? &loaded : nullptr;
}

class Bzip2Decoder : public Decoder {
 public:
  ~Bzip2Decoder() override { end(); }

  bool begin() override {
    end();
    stream_ = {};
    library_ = bzip2();
    begun_ =
        library_ != nullptr && checkedFor(BZ_MEM_ERROR, library_->init(&stream_, 0, 0)) == BZ_OK;
    return begun_;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    stream_.next_in = const_cast<char*>(in.data());
    stream_.avail_in = static_cast<unsigned>(piece(in.size()));
    stream_.next_out = to;
    stream_.avail_out = static_cast<unsigned>(piece(bytes));
    const int result = checkedFor(BZ_MEM_ERROR, library_->decompress(&stream_));
    in.remove_prefix(piece(in.size()) - stream_.avail_in);
    *written = piece(bytes) - stream_.avail_out;
    if (result == BZ_STREAM_END) return State::kEnded;
    return result == BZ_OK ? State::kGoesOn : State::kDamaged;
  }

 private:
  void end() {
    if (begun_) library_->end(&stream_);
    begun_ = false;
  }

  const Bzip2* library_ = nullptr;
  bz_stream stream_ = {};
  bool begun_ = false;
};

// ---- Zstandard

struct Zstd {
  decltype(&::ZSTD_createDStream) create = nullptr;
  decltype(&::ZSTD_freeDStream) free = nullptr;
  decltype(&::ZSTD_initDStream) init = nullptr;
  decltype(&::ZSTD_decompressStream) decompress = nullptr;
  decltype(&::ZSTD_DCtx_setParameter) setParameter = nullptr;
  decltype(&::ZSTD_sizeof_DStream) memory = nullptr;
  decltype(&::ZSTD_getErrorCode) errorCode = nullptr;
  bool complete = false;
};

// Null where the library is missing.
const Zstd* zstd() {
  static const Zstd loaded = [] {
    Zstd functions;
    LazyLibrary library("libzstd.so.1");
    library.find(functions.create, "ZSTD_createDStream");
    library.find(functions.free, "ZSTD_freeDStream");
    library.find(functions.init, "ZSTD_initDStream");
    library.find(functions.decompress, "ZSTD_decompressStream");
    library.find(functions.setParameter, "ZSTD_DCtx_setParameter");
    library.find(functions.memory, "ZSTD_sizeof_DStream");
    library.find(functions.errorCode, "ZSTD_getErrorCode");
    functions.complete = library.isComplete();
    return functions;
  }();
  return loaded.complete ? &loaded : nullptr;
}

class ZstdDecoder : public Decoder {
 public:
  ~ZstdDecoder() override {
    if (stream_ != nullptr) library_->free(stream_);
  }

  bool begin() override {
    library_ = zstd();
    if (library_ == nullptr) return false;
    if (stream_ == nullptr) {
      stream_ = checkedFor(static_cast<ZSTD_DStream*>(nullptr), library_->create());
    }
    return isSound(library_->init(stream_)) &&
           isSound(library_->setParameter(stream_, ZSTD_d_windowLogMax, mostWindowBits()));
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    ZSTD_inBuffer input = {in.data(), in.size(), 0};
    ZSTD_outBuffer output = {to, bytes, 0};
    const size_t result = library_->decompress(stream_, &output, &input);
    in.remove_prefix(input.pos);
    *written = output.pos;
    share_.hold(library_->memory(stream_));
    if (!isSound(result)) return State::kDamaged;
    return result == 0 ? State::kEnded : State::kGoesOn;
  }

 private:
  bool isSound(size_t result) const {
    const ZSTD_ErrorCode code = library_->errorCode(result);
    return checkedFor(ZSTD_error_memory_allocation, code) == ZSTD_error_no_error;
  }

  int mostWindowBits() const {
    constexpr int kLeast = 10;
    constexpr int kMost = 27;
    return std::clamp(63 - std::countl_zero(share_.room()), kLeast, kMost);
  }

  const Zstd* library_ = nullptr;
  ZSTD_DStream* stream_ = nullptr;
  MemoryShare share_;
};

}  // namespace

std::unique_ptr<Decoder> makeGzipDecoder() { return std::make_unique<GzipDecoder>(); }
std::unique_ptr<Decoder> makeXzDecoder() { return std::make_unique<XzDecoder>(); }
std::unique_ptr<Decoder> makeBzip2Decoder() { return std::make_unique<Bzip2Decoder>(); }
std::unique_ptr<Decoder> makeZstdDecoder() { return std::make_unique<ZstdDecoder>(); }

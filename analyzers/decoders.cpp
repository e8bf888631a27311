#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <cstdint>
#include <new>

#include "analyzers/decoder.h"
#include "analyzers/lazylibrary.h"
#include "analyzers/zlibmemory.h"

namespace {

constexpr uint64_t kMostMemory = uint64_t{100} << 20;  // of xz, whose presets need 65 MiB at most

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

// These libraries, too, tell a lack of memory by a result like any other, and a sound file would
// pass for a damaged one. Result: what was given. Errors: std::bad_alloc when it is the one that
// tells it.
template <typename Result>
Result lackChecked(Result result, Result lack) {
  if (result == lack) throw std::bad_alloc();
  return result;
}

// ---- xz

struct Lzma {
  decltype(&::lzma_stream_decoder) decoder = nullptr;
  decltype(&::lzma_code) code = nullptr;
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
           lackChecked(library_->decoder(&stream_, kMostMemory, 0), LZMA_MEM_ERROR) == LZMA_OK;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    stream_.next_in = reinterpret_cast<const uint8_t*>(in.data());
    stream_.avail_in = in.size();
    stream_.next_out = reinterpret_cast<uint8_t*>(to);
    stream_.avail_out = bytes;
    const lzma_ret result = lackChecked(library_->code(&stream_, LZMA_RUN), LZMA_MEM_ERROR);
    in.remove_prefix(in.size() - stream_.avail_in);
    *written = bytes - stream_.avail_out;
    if (result == LZMA_STREAM_END) return State::kEnded;
    return result == LZMA_OK || result == LZMA_BUF_ERROR ? State::kGoesOn : State::kDamaged;
  }

 private:
  const Lzma* library_ = nullptr;
  lzma_stream stream_ = LZMA_STREAM_INIT;
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
        library_ != nullptr && lackChecked(library_->init(&stream_, 0, 0), BZ_MEM_ERROR) == BZ_OK;
    return begun_;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    stream_.next_in = const_cast<char*>(in.data());
    stream_.avail_in = static_cast<unsigned>(piece(in.size()));
    stream_.next_out = to;
    stream_.avail_out = static_cast<unsigned>(piece(bytes));
    const int result = lackChecked(library_->decompress(&stream_), BZ_MEM_ERROR);
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
      stream_ = lackChecked(library_->create(), static_cast<ZSTD_DStream*>(nullptr));
    }
    return checked(library_->init(stream_)) == ZSTD_error_no_error;
  }

  State decode(std::string_view& in, char* to, size_t bytes, size_t* written) override {
    ZSTD_inBuffer input = {in.data(), in.size(), 0};
    ZSTD_outBuffer output = {to, bytes, 0};
    const size_t result = library_->decompress(stream_, &output, &input);
    in.remove_prefix(input.pos);
    *written = output.pos;
    if (checked(result) != ZSTD_error_no_error) return State::kDamaged;
    return result == 0 ? State::kEnded : State::kGoesOn;
  }

 private:
  ZSTD_ErrorCode checked(size_t result) const {
    return lackChecked(library_->errorCode(result), ZSTD_error_memory_allocation);
  }

  const Zstd* library_ = nullptr;
  ZSTD_DStream* stream_ = nullptr;
};

}  // namespace

std::unique_ptr<Decoder> makeGzipDecoder() { return std::make_unique<GzipDecoder>(); }
std::unique_ptr<Decoder> makeXzDecoder() { return std::make_unique<XzDecoder>(); }
std::unique_ptr<Decoder> makeBzip2Decoder() { return std::make_unique<Bzip2Decoder>(); }
std::unique_ptr<Decoder> makeZstdDecoder() { return std::make_unique<ZstdDecoder>(); }

// Formats of compressed files, decoded piece by piece: gzip (RFC 1952), xz, bzip2, Zstandard (RFC
// 8878).

#ifndef VESKA_ANALYZERS_DECODER_H_
#define VESKA_ANALYZERS_DECODER_H_

#include <cstddef>
#include <memory>
#include <string_view>

class Decoder {
 public:
  enum class State { kGoesOn, kEnded, kDamaged };

  virtual ~Decoder() = default;

  // Begins a stream; a file may hold several. Result: false when the library is missing. Errors:
  // std::bad_alloc.
  virtual bool begin() = 0;

  // Decodes. in: moved past what was taken. to, bytes: room for what comes out. written: set to its
  // length. Result: kEnded at the end of the stream; kDamaged also when it needs more memory than
  // decoders may have. Errors: std::bad_alloc.
  virtual State decode(std::string_view& in, char* to, size_t bytes, size_t* written) = 0;
};

std::unique_ptr<Decoder> makeGzipDecoder();
std::unique_ptr<Decoder> makeXzDecoder();
std::unique_ptr<Decoder> makeBzip2Decoder();
std::unique_ptr<Decoder> makeZstdDecoder();

#endif  // VESKA_ANALYZERS_DECODER_H_

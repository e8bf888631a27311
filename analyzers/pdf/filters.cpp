#include "analyzers/pdf/filters.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "analyzers/pdf/lexer.h"
#include "analyzers/zlibmemory.h"

namespace veska::pdf {
namespace {

constexpr std::pair<std::string_view, Filter> kFilterNames[] = {
    {"FlateDecode", Filter::kFlate},
    {"Fl", Filter::kFlate},
    {"LZWDecode", Filter::kLzw},
    {"LZW", Filter::kLzw},
    {"ASCII85Decode", Filter::kAscii85},
    {"A85", Filter::kAscii85},
    {"ASCIIHexDecode", Filter::kAsciiHex},
    {"AHx", Filter::kAsciiHex},
    {"RunLengthDecode", Filter::kRunLength},
    {"RL", Filter::kRunLength},
    {"Crypt", Filter::kNone},
};

constexpr size_t kChunkBytes = 32 << 10;

struct Inflater {
  ~Inflater() { inflateEnd(&stream); }
  z_stream stream{};
};

// Inflates with the given zlib window bits. Result: whether anything came out or the input ended
// well.
bool inflateAll(std::string_view input, int windowBits, uint64_t maxBytes, std::string& output) {
  Inflater inflater;
  z_stream& stream = inflater.stream;
  if (memoryChecked(inflateInit2(&stream, windowBits)) != Z_OK) return false;
  const size_t before = output.size();
  std::array<Bytef, kChunkBytes> chunk;
  int status = Z_OK;
  while (status == Z_OK && output.size() < maxBytes) {
    if (stream.avail_in == 0) {
      const size_t part = std::min<size_t>(input.size(), 1u << 30);
      // zlib reads through a pointer to non-const for historical reasons.
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
      stream.avail_in = static_cast<uInt>(part);
      input.remove_prefix(part);
    }
    stream.next_out = chunk.data();
    stream.avail_out = kChunkBytes;
    status = memoryChecked(inflate(&stream, Z_NO_FLUSH));
    const size_t got = std::min<uint64_t>(kChunkBytes - stream.avail_out, maxBytes - output.size());
    output.append(reinterpret_cast<const char*>(chunk.data()), got);
  }
  return output.size() > before || status == Z_STREAM_END;
}

}  // namespace

Filter filterByName(std::string_view name) {
  for (const auto& [known, filter] : kFilterNames) {
    if (name == known) return filter;
  }
  return Filter::kImage;
}

void decodeFlate(std::string_view input, uint64_t maxBytes, std::string& output) {
  while (!input.empty() && (input[0] == '\r' || input[0] == '\n')) input.remove_prefix(1);
  if (inflateAll(input, MAX_WBITS, maxBytes, output) || input.size() < 3) return;
  // A damaged header: the data behind it may be sound.
  if (!inflateAll(input.substr(2), -MAX_WBITS, maxBytes, output)) {
    inflateAll(input, -MAX_WBITS, maxBytes, output);
  }
}

// Every entry of the code table is a piece of the output so far: the previous piece and the byte
// after it.
void decodeLzw(std::string_view input, bool earlyChange, uint64_t maxBytes, std::string& output) {
  constexpr unsigned kClear = 256, kEnd = 257, kFirst = 258, kTableSize = 4096;
  struct Piece {
    size_t at, length;
  };
  std::array<Piece, kTableSize> table;
  unsigned next = kFirst, bits = 9, held = 0;
  uint64_t buffer = 0;
  Piece previous{0, 0};
  size_t at = 0;
  while (output.size() < maxBytes) {
    while (held < bits && at < input.size()) {
      buffer = buffer << 8 | static_cast<unsigned char>(input[at++]);
      held += 8;
    }
    if (held < bits) return;
    held -= bits;
    const unsigned code = static_cast<unsigned>(buffer >> held) & ((1u << bits) - 1);
    if (code == kEnd) return;
    if (code == kClear) {
      next = kFirst;
      bits = 9;
      previous.length = 0;
      continue;
    }
    const Piece current{output.size(), code < 256    ? 1
                                       : code < next ? table[code].length
                                                     : previous.length + 1};
    if (code < 256) {
      output += static_cast<char>(code);
    } else if (code < next || (code == next && previous.length > 0)) {
      const size_t from = code < next ? table[code].at : previous.at;
      for (size_t i = 0; i < current.length; ++i) output += output[from + i];
    } else {
      return;  // a code that stands for nothing yet
    }
    if (previous.length > 0 && next < kTableSize)
      table[next++] = {previous.at, previous.length + 1};
    const unsigned full = next + (earlyChange ? 1 : 0);
    bits = full >= 2048 ? 12 : full >= 1024 ? 11 : full >= 512 ? 10 : 9;
    previous = current;
  }
}

void decodeAscii85(std::string_view input, uint64_t maxBytes, std::string& output) {
  uint32_t group = 0;
  int count = 0;
  const auto emit = [&output](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) output += static_cast<char>(value >> (24 - 8 * i) & 0xFF);
  };
  if (input.starts_with("<~")) input.remove_prefix(2);
  for (const char c : input) {
    if (output.size() + 4 > maxBytes || c == '~') break;
    if (c == 'z' && count == 0) {
      emit(0, 4);
    } else if (c >= '!' && c <= 'u') {
      group = group * 85 + static_cast<uint32_t>(c - '!');
      if (++count == 5) {
        emit(group, 4);
        group = 0;
        count = 0;
      }
    }
  }
  if (count < 2) return;
  for (int i = count; i < 5; ++i) group = group * 85 + 84;
  emit(group, count - 1);
}

void decodeAsciiHex(std::string_view input, uint64_t maxBytes, std::string& output) {
  // The lexer reads the same digits between "<" and ">".
  std::string wrapped = "<";
  wrapped += input.substr(0, std::min<uint64_t>(input.find('>'), 4 * maxBytes));
  wrapped += '>';
  Lexer lexer(wrapped);
  const Token token = lexer.next();
  output += lexer.text(token).substr(0, maxBytes);
}

void decodeRunLength(std::string_view input, uint64_t maxBytes, std::string& output) {
  size_t at = 0;
  while (at < input.size() && output.size() < maxBytes) {
    const size_t code = static_cast<unsigned char>(input[at++]);
    if (code == 128) return;
    if (code < 128) {
      const std::string_view copied = input.substr(at, code + 1);
      output += copied;
      at += copied.size();
    } else if (at < input.size()) {
      output.append(257 - code, input[at++]);
    }
  }
  if (output.size() > maxBytes) output.resize(maxBytes);
}

std::string applyFilter(Filter filter, const PredictorParameters& parameters,
                        std::string_view input, uint64_t maxBytes) {
  std::string output;
  switch (filter) {
    case Filter::kNone:
      output = input.substr(0, maxBytes);
      break;
    case Filter::kFlate:
      decodeFlate(input, maxBytes, output);
      break;
    case Filter::kLzw:
      decodeLzw(input, parameters.earlyChange, maxBytes, output);
      break;
    case Filter::kAscii85:
      decodeAscii85(input, maxBytes, output);
      break;
    case Filter::kAsciiHex:
      decodeAsciiHex(input, maxBytes, output);
      break;
    case Filter::kRunLength:
      decodeRunLength(input, maxBytes, output);
      break;
    case Filter::kImage:
      break;
  }
  if (filter == Filter::kFlate || filter == Filter::kLzw) undoPredictor(parameters, output);
  return output;
}

}  // namespace veska::pdf

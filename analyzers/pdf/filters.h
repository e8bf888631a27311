// The filters of streams (ISO 32000-1, 7.4): what their bytes went through when they were written,
// and the way back. A truncated or damaged stream gives what could be decoded.

#ifndef VESKA_ANALYZERS_PDF_FILTERS_H_
#define VESKA_ANALYZERS_PDF_FILTERS_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace veska::pdf {

enum class Filter : uint8_t { kNone, kFlate, kLzw, kAscii85, kAsciiHex, kRunLength, kImage };

// By the name in a dictionary, the short forms of inline images included. What only pictures use is
// kImage, as is a filter that does not exist.
Filter filterByName(std::string_view name);

// Parameters of the Flate and LZW filters.
struct PredictorParameters {
  int64_t predictor = 1;  // 1 none, 2 TIFF, from 10 on PNG
  int64_t colors = 1;
  int64_t bitsPerComponent = 8;
  int64_t columns = 1;
  bool earlyChange = true;
};

// One filter each: decodes input, appending to output until it holds maxBytes.
void decodeFlate(std::string_view input, uint64_t maxBytes, std::string& output);
void decodeLzw(std::string_view input, bool earlyChange, uint64_t maxBytes, std::string& output);
void decodeAscii85(std::string_view input, uint64_t maxBytes, std::string& output);
void decodeAsciiHex(std::string_view input, uint64_t maxBytes, std::string& output);
void decodeRunLength(std::string_view input, uint64_t maxBytes, std::string& output);

// Takes back the prediction in place. Rows that are cut short are kept as far as they go;
// parameters that make no sense leave the data as it is.
void undoPredictor(const PredictorParameters& parameters, std::string& data);

// Decodes input through one filter. Result: at most maxBytes; empty for kImage.
std::string applyFilter(Filter filter, const PredictorParameters& parameters,
                        std::string_view input, uint64_t maxBytes);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_FILTERS_H_

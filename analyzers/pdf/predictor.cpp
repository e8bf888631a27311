// Prediction (ISO 32000-1, 7.4.4.4): before compression each sample was replaced by its difference
// from its neighbours, by the rules of TIFF 6.0 section 14 or of PNG (RFC 2083, section 6).

#include <algorithm>
#include <cstdlib>

#include "analyzers/pdf/filters.h"

namespace veska::pdf {
namespace {

constexpr int64_t kMaxColumns = 1 << 20;
constexpr int64_t kMaxColors = 32;

uint8_t byteAt(const char* bytes, size_t at) { return static_cast<uint8_t>(bytes[at]); }

int paeth(int left, int above, int aboveLeft) {
  const int estimate = left + above - aboveLeft;
  const int toLeft = std::abs(estimate - left);
  const int toAbove = std::abs(estimate - above);
  const int toAboveLeft = std::abs(estimate - aboveLeft);
  if (toLeft <= toAbove && toLeft <= toAboveLeft) return left;
  return toAbove <= toAboveLeft ? above : aboveLeft;
}

// Restores a row of `count` bytes; above is the restored row before it, or null.
void restorePngRow(int type, char* row, const char* above, size_t count, size_t pixelBytes) {
  for (size_t i = 0; i < count; ++i) {
    const int left = i >= pixelBytes ? byteAt(row, i - pixelBytes) : 0;
    const int up = above ? byteAt(above, i) : 0;
    const int upLeft = above && i >= pixelBytes ? byteAt(above, i - pixelBytes) : 0;
    int predicted = 0;
    switch (type) {
      case 1:
        predicted = left;
        break;
      case 2:
        predicted = up;
        break;
      case 3:
        predicted = (left + up) / 2;
        break;
      case 4:
        predicted = paeth(left, up, upLeft);
        break;
      default:
        return;
    }
    row[i] = static_cast<char>(byteAt(row, i) + predicted);
  }
}

void undoPng(std::string& data, size_t rowBytes, size_t pixelBytes) {
  char* const bytes = data.data();
  size_t to = 0;
  const char* above = nullptr;
  for (size_t from = 0; from + 1 < data.size();) {
    const int type = byteAt(bytes, from++);
    const size_t count = std::min(rowBytes, data.size() - from);
    std::copy(bytes + from, bytes + from + count, bytes + to);
    restorePngRow(type, bytes + to, above, count, pixelBytes);
    above = bytes + to;
    to += count;
    from += count;
  }
  data.resize(to);
}

void undoTiff(std::string& data, size_t rowBytes, size_t colors, size_t bits) {
  for (size_t row = 0; row < data.size(); row += rowBytes) {
    char* const bytes = data.data() + row;
    const size_t count = std::min(rowBytes, data.size() - row);
    if (bits == 8) {
      for (size_t i = colors; i < count; ++i) {
        bytes[i] = static_cast<char>(byteAt(bytes, i) + byteAt(bytes, i - colors));
      }
    } else if (bits == 16) {
      for (size_t i = 2 * colors; i + 1 < count; i += 2) {
        const size_t before = i - 2 * colors;
        const int sum = (byteAt(bytes, i) << 8) + byteAt(bytes, i + 1) +
                        (byteAt(bytes, before) << 8) + byteAt(bytes, before + 1);
        bytes[i] = static_cast<char>(sum >> 8);
        bytes[i + 1] = static_cast<char>(sum);
      }
    }
  }
}

}  // namespace

void undoPredictor(const PredictorParameters& parameters, std::string& data) {
  const int64_t bits = parameters.bitsPerComponent;
  if (parameters.predictor <= 1 || parameters.columns < 1 || parameters.columns > kMaxColumns ||
      parameters.colors < 1 || parameters.colors > kMaxColors ||
      (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16)) {
    return;
  }
  const size_t pixelBits = static_cast<size_t>(parameters.colors * bits);
  const size_t rowBytes = (pixelBits * static_cast<size_t>(parameters.columns) + 7) / 8;
  if (parameters.predictor >= 10) {
    undoPng(data, rowBytes, (pixelBits + 7) / 8);
  } else if (parameters.predictor == 2) {
    undoTiff(data, rowBytes, static_cast<size_t>(parameters.colors), static_cast<size_t>(bits));
  }
}

}  // namespace veska::pdf

// Numbers in the cells of a workbook as they are shown: dates, times, percentages and fixed
// decimals by the formats of the cells (ECMA-376, part 1, 18.8.30).

#ifndef VESKA_ANALYZERS_UNICODE_SHEETNUMBERS_H_
#define VESKA_ANALYZERS_UNICODE_SHEETNUMBERS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

struct NumberFormat {
  bool date = false;
  bool time = false;
  bool elapsed = false;  // a time of more than a day counts on in hours
  bool percent = false;
  int decimals = -1;  // as many as there are
};

// What a format code says of plain values: that of its first section.
NumberFormat parseNumberFormat(std::string_view code);

// A number as it stands in a file, as it is shown: dates as 2021-03-04, times as 05:06. from1904:
// days count from 1904. What is no number stays as it is.
std::string showNumber(std::string_view value, const NumberFormat& format, bool from1904);

// The formats of a workbook's cells, by the number that a cell gives.
class CellFormats {
 public:
  // Reads the part with the styles.
  void read(ByteInput& part);
  NumberFormat at(uint64_t style) const;

 private:
  friend class StyleReader;
  std::vector<NumberFormat> formats_;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_SHEETNUMBERS_H_

#include "analyzers/pdf/fontprogram.h"

namespace veska::pdf {

FontProgram readFontProgram(std::string_view data, Budget& budget) {
  if (data.starts_with("%!") || data.starts_with("\x80\x01")) return readType1(data, budget);
  if (data.size() > 4 && data[0] == 1 && data[1] == 0 && data[2] != 0) return readCff(data, budget);
  return readTrueType(data, budget);
}

}  // namespace veska::pdf

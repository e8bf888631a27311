// The text of workbooks of OOXML: xlsx, xlsm, xltx, xltm (ECMA-376, part 1, 18).

#ifndef VESKA_ANALYZERS_UNICODE_SHEETSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_SHEETSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// The sheets in their order: the name, the values of the cells row by row, comments, drawings and
// charts. Formulas and errors are left out.
std::unique_ptr<TextSource> makeSheetSource();
bool isSheets(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_SHEETSOURCE_H_

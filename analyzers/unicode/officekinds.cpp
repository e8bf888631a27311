#include "analyzers/unicode/officekinds.h"

#include "analyzers/unicode/rtfsource.h"
#include "analyzers/unicode/wordsource.h"

namespace veska::unicode {
namespace {

constexpr Kind kKinds[] = {
    {"docx", "docx docm dotx dotm", true, makeWordSource, isWord},
    {"rtf", "rtf", false, makeRtfSource, isRtf},
};

}  // namespace

std::span<const Kind> officeKinds() { return kKinds; }

}  // namespace veska::unicode

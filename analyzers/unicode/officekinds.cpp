#include "analyzers/unicode/officekinds.h"

#include "analyzers/unicode/rtfsource.h"

namespace veska::unicode {
namespace {

constexpr Kind kKinds[] = {
    {"rtf", "rtf", false, makeRtfSource, isRtf},
};

}  // namespace

std::span<const Kind> officeKinds() { return kKinds; }

}  // namespace veska::unicode

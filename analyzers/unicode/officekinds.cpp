#include "analyzers/unicode/officekinds.h"

#include "analyzers/unicode/epubsource.h"
#include "analyzers/unicode/fb2source.h"
#include "analyzers/unicode/odfsource.h"
#include "analyzers/unicode/rtfsource.h"
#include "analyzers/unicode/sheetsource.h"
#include "analyzers/unicode/slidesource.h"
#include "analyzers/unicode/wordsource.h"

namespace veska::unicode {
namespace {

constexpr Kind kKinds[] = {
    {"docx", "docx docm dotx dotm", true, makeWordSource, isWord},
    {"xlsx", "xlsx xlsm xltx xltm", true, makeSheetSource, isSheets},
    {"pptx", "pptx pptm ppsx ppsm potx potm", true, makeSlideSource, isSlides},
    {"epub", "epub", true, makeEpubSource, isEpub},
    {"odf", "odt ods odp odg odf odm odb ott ots otp otg sxw sxc sxi sxd stw stc sti", true,
     makeOdfSource, isOdf},
    {"fb2.zip", "fbz", true, makeZippedFb2Source, isZippedFb2},
    {"fb2", "fb2", false, makeFb2Source, isFb2},
    {"fodf", "fodt fods fodp fodg", false, makeFlatOdfSource, isFlatOdf},
    {"rtf", "rtf", false, makeRtfSource, isRtf},
};

}  // namespace

std::span<const Kind> officeKinds() { return kKinds; }

}  // namespace veska::unicode

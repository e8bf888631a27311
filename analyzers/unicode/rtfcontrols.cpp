#include "analyzers/unicode/rtfcontrols.h"

#include <algorithm>
#include <iterator>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {
namespace {

using enum RtfControl;

constexpr auto kWord = static_cast<uint16_t>(Break::kWord);
constexpr auto kLine = static_cast<uint16_t>(Break::kLine);
constexpr auto kParagraph = static_cast<uint16_t>(Break::kParagraph);

// Sorted.
constexpr RtfWord kWords[] = {
    {"aftncn", kSkipped, 0},
    {"aftnsep", kSkipped, 0},
    {"aftnsepc", kSkipped, 0},
    {"annotation", kStory, 0},
    {"ansi", kCharacters, 1252},
    {"ansicpg", kCodePage, 0},
    {"atnauthor", kSkipped, 0},
    {"atnid", kSkipped, 0},
    {"author", kProperty, 0},
    {"bin", kBinary, 0},
    {"bullet", kCharacter, 0x2022},
    {"cell", kBreak, kWord},
    {"colorschememapping", kSkipped, 0},
    {"colortbl", kSkipped, 0},
    {"column", kBreak, kLine},
    {"cpg", kFontCodePage, 0},
    {"datafield", kSkipped, 0},
    {"datastore", kSkipped, 0},
    {"deff", kDefaultFont, 0},
    {"deleted", kHidden, 0},
    {"do", kOuter, 0},
    {"docvar", kSkipped, 0},
    {"dptxbxtext", kStory, 0},
    {"emdash", kCharacter, 0x2014},
    {"emspace", kCharacter, 0x2003},
    {"endash", kCharacter, 0x2013},
    {"enspace", kCharacter, 0x2002},
    {"f", kFont, 0},
    {"fcharset", kFontCharset, 0},
    {"filetbl", kSkipped, 0},
    {"fldinst", kSkipped, 0},
    {"fonttbl", kFontTable, 0},
    {"footer", kStory, 0},
    {"footerf", kStory, 0},
    {"footerl", kStory, 0},
    {"footerr", kStory, 0},
    {"footnote", kStory, 0},
    {"ftncn", kSkipped, 0},
    {"ftnsep", kSkipped, 0},
    {"ftnsepc", kSkipped, 0},
    {"generator", kSkipped, 0},
    {"header", kStory, 0},
    {"headerf", kStory, 0},
    {"headerl", kStory, 0},
    {"headerr", kStory, 0},
    {"info", kOuter, 0},
    {"keywords", kProperty, 0},
    {"latentstyles", kSkipped, 0},
    {"lbr", kBreak, kLine},
    {"ldblquote", kCharacter, 0x201C},
    {"line", kBreak, kLine},
    {"listoverridetable", kSkipped, 0},
    {"listtable", kSkipped, 0},
    {"listtext", kSkipped, 0},
    {"lquote", kCharacter, 0x2018},
    {"ltrmark", kCharacter, 0x200E},
    {"mac", kCharacters, 10000},
    {"nestcell", kBreak, kWord},
    {"nestrow", kBreak, kLine},
    {"nonesttables", kSkipped, 0},
    {"nonshppict", kSkipped, 0},
    {"objalias", kSkipped, 0},
    {"objclass", kSkipped, 0},
    {"objdata", kSkipped, 0},
    {"objname", kSkipped, 0},
    {"objsect", kSkipped, 0},
    {"page", kBreak, kParagraph},
    {"par", kBreak, kParagraph},
    {"pc", kCharacters, 437},
    {"pca", kCharacters, 850},
    {"pict", kSkipped, 0},
    {"plain", kPlain, 0},
    {"pntext", kSkipped, 0},
    {"private", kSkipped, 0},
    {"qmspace", kCharacter, 0x2005},
    {"rdblquote", kCharacter, 0x201D},
    {"revtbl", kSkipped, 0},
    {"row", kBreak, kLine},
    {"rquote", kCharacter, 0x2019},
    {"rsidtbl", kSkipped, 0},
    {"rtlmark", kCharacter, 0x200F},
    {"sect", kBreak, kParagraph},
    {"shp", kOuter, 0},
    {"shpinst", kOuter, 0},
    {"shprslt", kSkipped, 0},
    {"shptxt", kStory, 0},
    {"softline", kBreak, kLine},
    {"stylesheet", kSkipped, 0},
    {"subject", kProperty, 0},
    {"tab", kBreak, kWord},
    {"tc", kSkipped, 0},
    {"tcn", kSkipped, 0},
    {"template", kSkipped, 0},
    {"themedata", kSkipped, 0},
    {"title", kProperty, 0},
    {"u", kUnicode, 0},
    {"uc", kFallbackLength, 0},
    {"ud", kUnicodeText, 0},
    {"upr", kUnicodePair, 0},
    {"v", kHidden, 0},
    {"xe", kSkipped, 0},
    {"xmlnstbl", kSkipped, 0},
    {"zwj", kCharacter, 0x200D},
    {"zwnj", kCharacter, 0x200C},
};

constexpr bool comesBefore(const RtfWord& a, const RtfWord& b) { return a.name < b.name; }
static_assert(std::is_sorted(std::begin(kWords), std::end(kWords), comesBefore));

}  // namespace

RtfWord rtfWord(std::string_view name) {
  const RtfWord wanted = {name, kNone, 0};
  const auto* found = std::lower_bound(std::begin(kWords), std::end(kWords), wanted, comesBefore);
  return found != std::end(kWords) && found->name == name ? *found : wanted;
}

}  // namespace veska::unicode

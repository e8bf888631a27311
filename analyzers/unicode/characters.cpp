#include "analyzers/unicode/characters.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>

namespace veska::unicode {

const uint32_t* charBlocks[kCharBlocks];

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Scripts whose words are not set apart by blanks: Thai, Lao, Khmer, Hiragana, Katakana, Han.
// (Unicode Character Database, Scripts.txt; digits are left out.)
constexpr Range kPairRanges[] = {
    {0x0E01, 0x0E3A},   {0x0E40, 0x0E4E}, {0x0E81, 0x0ECE}, {0x0EDC, 0x0EDF}, {0x1780, 0x17D3},
    {0x17D7, 0x17D7},   {0x17DC, 0x17DD}, {0x3005, 0x3007}, {0x3021, 0x3029}, {0x3031, 0x3035},
    {0x3038, 0x303C},   {0x3041, 0x309F}, {0x30A1, 0x30FA}, {0x30FC, 0x30FF}, {0x31F0, 0x31FF},
    {0x3400, 0x4DBF},   {0x4E00, 0x9FFF}, {0xF900, 0xFAFF}, {0xFF66, 0xFF9F}, {0x1AFF0, 0x1B167},
    {0x20000, 0x323AF},
};

// Marks that are taken off with the accents: combining diacritics, Hebrew and Arabic points.
constexpr Range kAccents[] = {
    {0x0300, 0x036F}, {0x0483, 0x0487}, {0x0591, 0x05BD}, {0x05BF, 0x05BF}, {0x05C1, 0x05C2},
    {0x05C4, 0x05C5}, {0x05C7, 0x05C7}, {0x0610, 0x061A}, {0x064B, 0x0652}, {0x0670, 0x0670},
    {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20F0}, {0xFE20, 0xFE2F},
};

constexpr Range kHangul[] = {
    {0x3130, 0x318F}, {0x3200, 0x321E}, {0x3260, 0x327F}, {0xA960, 0xA97F}, {0xAC00, 0xD7FF}};
constexpr char32_t kFirstEastAsian = 0x2E80;
constexpr char32_t kFirstSymbol = 0x1F000;  // emoji and the like, up to
constexpr char32_t kFirstPlaneTwo = 0x20000;

constexpr char32_t kZeroWidthSpace = 0x200B;
constexpr char32_t kShortI = 0x0439;

template <size_t N>
bool isIn(const Range (&ranges)[N], char32_t c) {
  const auto* after =
      std::upper_bound(std::begin(ranges), std::end(ranges), c,
                       [](char32_t value, const Range& r) { return value < r.first; });
  return after != std::begin(ranges) && c <= std::prev(after)->last;
}

bool isLetterOrDigit(utf8proc_category_t category) {
  switch (category) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
      return true;
    default:
      return false;
  }
}

bool isMark(utf8proc_category_t category) {
  return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC ||
         category == UTF8PROC_CATEGORY_ME;
}

bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

constexpr auto kFoldOptions = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE |
                                                             UTF8PROC_CASEFOLD | UTF8PROC_IGNORE);

// Does it compose with the character in front, or change places with it?
bool dependsOnNeighbour(char32_t c, const utf8proc_property_t& property) {
  constexpr unsigned kSecondOfPair = 0x8000;  // so utf8proc marks them
  constexpr unsigned kNone = 0xFFFF;
  const bool conjoiningHangul = c >= 0x1100 && c <= 0x11FF;
  const unsigned composition = property.comb_index;
  return property.combining_class != 0 || conjoiningHangul ||
         (composition >= kSecondOfPair && composition != kNone);
}

uint32_t packFacts(char32_t c) {
  if (isSurrogate(c)) return c;
  const utf8proc_property_t& property = *utf8proc_get_property(static_cast<int32_t>(c));
  const auto category = static_cast<utf8proc_category_t>(property.category);
  if (property.ignorable && c != kZeroWidthSpace) return c | CharFacts::kIgnored;
  uint32_t flags = 0;
  if (isLetterOrDigit(category)) flags = CharFacts::kLetter;
  if (isMark(category)) flags = CharFacts::kMark;
  if (flags == 0) return c;
  if (isIn(kPairRanges, c)) flags |= CharFacts::kPair;
  unsigned char bytes[4];
  const unsigned count = encodeCharacter(c, bytes);
  const std::u32string folded =
      foldedCharacters(std::string_view(reinterpret_cast<char*>(bytes), count));
  if (folded.size() != 1 || dependsOnNeighbour(c, property)) return c | flags | CharFacts::kComplex;
  return folded[0] | flags;
}

std::u32string mapped(std::string_view utf8, utf8proc_option_t options) {
  std::u32string result;
  std::array<utf8proc_int32_t, 64> parts{};  // more than any character decomposes to
  int boundClass = 0;
  for (size_t at = 0; at < utf8.size();) {
    const Decoded next = decodeAt(utf8, at);
    at += next.bytes;
    const utf8proc_ssize_t count =
        utf8proc_decompose_char(static_cast<utf8proc_int32_t>(next.character), parts.data(),
                                static_cast<utf8proc_ssize_t>(parts.size()), options, &boundClass);
    for (utf8proc_ssize_t i = 0; i < count && i < static_cast<utf8proc_ssize_t>(parts.size()); ++i)
      result += static_cast<char32_t>(parts[static_cast<size_t>(i)]);
  }
  return result;
}

// Canonical order: each run of marks sorted by class, equal classes left as they are. (utf8proc's
// own sort takes quadratic time.)
void orderMarks(std::u32string& text) {
  const auto classOf = [](char32_t c) {
    return utf8proc_get_property(static_cast<int32_t>(c))->combining_class;
  };
  for (size_t at = 0; at < text.size();) {
    if (classOf(text[at]) == 0) {
      ++at;
      continue;
    }
    size_t end = at;
    while (end < text.size() && classOf(text[end]) != 0) ++end;
    std::stable_sort(text.begin() + static_cast<std::ptrdiff_t>(at),
                     text.begin() + static_cast<std::ptrdiff_t>(end),
                     [&](char32_t a, char32_t b) { return classOf(a) < classOf(b); });
    at = end;
  }
}

// Decomposed text in its canonical, composed form.
void compose(std::u32string& text) {
  orderMarks(text);
  static_assert(sizeof(char32_t) == sizeof(utf8proc_int32_t));
  const utf8proc_ssize_t count = utf8proc_normalize_utf32(
      reinterpret_cast<utf8proc_int32_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
      static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  if (count >= 0) text.resize(static_cast<size_t>(count));
}

std::string encoded(const std::u32string& text) {
  std::string result;
  unsigned char bytes[4];
  for (const char32_t c : text)
    result.append(reinterpret_cast<char*>(bytes), encodeCharacter(c, bytes));
  return result;
}

// Letters that Unicode does not decompose, though people type the plain one.
char32_t plainLetter(char32_t c) {
  switch (c) {
    case 0x0111:
      return 'd';
    case 0x0127:
      return 'h';
    case 0x0131:
      return 'i';
    case 0x0142:
      return 'l';
    case 0x00F8:
      return 'o';
    case 0x0167:
      return 't';
    default:
      return c;
  }
}

}  // namespace

const uint32_t* fillCharBlock(size_t block) {
  // Kept for good: texts of all later calls need the same.
  static std::array<std::unique_ptr<uint32_t[]>, kCharBlocks> owned;
  auto facts = std::make_unique<uint32_t[]>(256);
  for (size_t i = 0; i < 256; ++i) facts[i] = packFacts(static_cast<char32_t>(block * 256 + i));
  owned[block] = std::move(facts);
  charBlocks[block] = owned[block].get();
  return charBlocks[block];
}

Decoded decodeCharacter(const unsigned char* at, const unsigned char* end) {
  constexpr Decoded kInvalid{kReplacement, 1};
  const unsigned char lead = *at;
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return kInvalid;
  const unsigned bytes = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (end - at < static_cast<std::ptrdiff_t>(bytes)) return kInvalid;
  char32_t c = lead & (0x7FU >> bytes);
  for (unsigned i = 1; i < bytes; ++i) {
    if ((at[i] & 0xC0) != 0x80) return kInvalid;
    c = c << 6 | (at[i] & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (c < kSmallest[bytes] || isSurrogate(c) || c > kLastCharacter) return kInvalid;
  return {c, bytes};
}

std::u32string foldedCharacters(std::string_view utf8) {
  std::u32string text = mapped(utf8, kFoldOptions);
  compose(text);
  return text;
}

std::string foldedText(std::string_view utf8) { return encoded(foldedCharacters(utf8)); }

std::string composedText(std::string_view utf8) {
  std::u32string text =
      mapped(utf8, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  compose(text);
  return encoded(text);
}

std::string strippedText(std::string_view word) {
  std::u32string result;
  for (size_t at = 0; at < word.size();) {
    const Decoded next = decodeAt(word, at);
    const std::string_view bytes = word.substr(at, next.bytes);
    at += next.bytes;
    if (next.character < 0x80 || next.character == kShortI) {
      result += next.character;
      continue;
    }
    const std::u32string parts =
        mapped(bytes, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE));
    for (const char32_t c : parts)
      if (!isIn(kAccents, c)) result += plainLetter(c);
  }
  compose(result);
  return encoded(result);
}

std::string compatibleText(char32_t character) {
  unsigned char bytes[4];
  const unsigned count = encodeCharacter(character, bytes);
  return encoded(
      mapped(std::string_view(reinterpret_cast<char*>(bytes), count),
             static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPAT | UTF8PROC_COMPOSE)));
}

bool joinsAcrossLines(char32_t character) {
  const bool hangul = isIn(kHangul, character);
  return character >= kFirstEastAsian && !hangul && columnsOf(character) == 2 &&
         (character < kFirstSymbol || character >= kFirstPlaneTwo);
}

int columnsOf(char32_t character) {
  return utf8proc_charwidth(static_cast<utf8proc_int32_t>(character));
}

}  // namespace veska::unicode

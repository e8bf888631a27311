#include "index/index.h"

namespace {

struct Entity {
  const char* name;
  unsigned char code;
};

// Deliberate: "Iuml" stands for 0xCE like "Icirc", and the small c with cedilla is "cedil".
constexpr Entity kEntities[] = {
    {"quot", 0x22},   {"amp", 0x26},    {"lt", 0x3C},     {"gt", 0x3E},     {"apos", 0x27},
    {"Agrave", 0xC0}, {"Aacute", 0xC1}, {"Acirc", 0xC2},  {"Atilde", 0xC3}, {"Auml", 0xC4},
    {"Aring", 0xC5},  {"AElig", 0xC6},  {"Ccedil", 0xC7}, {"Egrave", 0xC8}, {"Eacute", 0xC9},
    {"Ecirc", 0xCA},  {"Euml", 0xCB},   {"Igrave", 0xCC}, {"Iacute", 0xCD}, {"Icirc", 0xCE},
    {"Iuml", 0xCE},   {"ETH", 0xD0},    {"Ntilde", 0xD1}, {"Ograve", 0xD2}, {"Oacute", 0xD3},
    {"Ocirc", 0xD4},  {"Otilde", 0xD5}, {"Ouml", 0xD6},   {"Oslash", 0xD8}, {"Ugrave", 0xD9},
    {"Uacute", 0xDA}, {"Ucirc", 0xDB},  {"Uuml", 0xDC},   {"Yacute", 0xDD}, {"THORN", 0xDE},
    {"szlig", 0xDF},  {"agrave", 0xE0}, {"aacute", 0xE1}, {"acirc", 0xE2},  {"atilde", 0xE3},
    {"auml", 0xE4},   {"aring", 0xE5},  {"aelig", 0xE6},  {"cedil", 0xE7},  {"egrave", 0xE8},
    {"eacute", 0xE9}, {"ecirc", 0xEA},  {"euml", 0xEB},   {"igrave", 0xEC}, {"iacute", 0xED},
    {"icirc", 0xEE},  {"iuml", 0xEF},   {"eth", 0xF0},    {"ntilde", 0xF1}, {"ograve", 0xF2},
    {"oacute", 0xF3}, {"ocirc", 0xF4},  {"otilde", 0xF5}, {"ouml", 0xF6},   {"oslash", 0xF8},
    {"ugrave", 0xF9}, {"uacute", 0xFA}, {"ucirc", 0xFB},  {"uuml", 0xFC},   {"yacute", 0xFD},
    {"thorn", 0xFE},  {"yuml", 0xFF},
};
static_assert(sizeof kEntities / sizeof kEntities[0] == 67);

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

void CVeskaIndex::addEntities() {
  for (const Entity& entity : kEntities) entities[entity.name] = static_cast<char>(entity.code);
}

char CVeskaIndex::htmlChar(const char* name) const {
  if (*name != '#') {
    const auto found = entities.find(name);
    return found == entities.end() ? ' ' : found->second;
  }
  unsigned code = 0;
  for (const char* digit = name + 1; isDigit(*digit); ++digit)
    code = code * 10 + static_cast<unsigned>(*digit - '0');
  return static_cast<char>(code % 256);
}

#include "host/charset.h"

#include <iconv.h>
#include <langinfo.h>
#include <utf8proc.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>

#include "host/encoding.h"

namespace veska {
namespace {

constexpr std::string_view kAsciiNames[] = {"",         "C",     "POSIX",
                                            "US-ASCII", "ASCII", "ANSI_X3.4-1968"};

bool isUtf8Name(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (c != '-') plain += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 0x20 : c);
  }
  return plain == "utf8";
}

bool isAsciiName(std::string_view name) {
  return std::find(std::begin(kAsciiNames), std::end(kAsciiNames), name) != std::end(kAsciiNames);
}

std::string localeName() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

// language_COUNTRY.CHARSET@variant
std::string localeCharset() {
  const std::string locale = localeName();
  if (isAsciiName(locale)) return "ASCII";
  const size_t dot = locale.find('.');
  std::string named;
  if (dot != std::string::npos) named = locale.substr(dot + 1, locale.find('@') - dot - 1);
  if (isUtf8Name(named)) return "UTF-8";
  if (std::setlocale(LC_CTYPE, "") != nullptr) return ::nl_langinfo(CODESET);
  return named.empty() ? "UTF-8" : named;
}

}  // namespace

class Charset::Converter {
 public:
  Converter(const std::string& to, const std::string& from)
      : handle_(::iconv_open(to.c_str(), from.c_str())) {}
  ~Converter() {
    if (valid()) ::iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // An iconv_t that is none is -1, whatever its type.
  bool valid() const { return reinterpret_cast<intptr_t>(handle_) != -1; }

  // Result: false when some of it cannot be converted. Sets of characters with a state between them
  // are no set of a locale, so each call begins afresh.
  bool convert(std::string_view from, std::string* to) const {
    if (!valid()) return false;
    std::string input(from);
    std::string output(4 * from.size() + 16, '\0');
    char* in = input.data();
    size_t inLeft = input.size();
    char* out = output.data();
    size_t outLeft = output.size();
    ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    if (::iconv(handle_, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) return false;
    output.resize(output.size() - outLeft);
    *to = std::move(output);
    return true;
  }

 private:
  iconv_t handle_;
};

Charset::Charset(const std::string& name) {
  if (isUtf8Name(name)) return;
  kind_ = isAsciiName(name) ? Kind::kAscii : Kind::kOther;
  const std::string known = isAscii() ? "ASCII" : name;
  out_ = std::make_unique<Converter>(known, "UTF-8");
  closest_ = std::make_unique<Converter>(known + "//TRANSLIT", "UTF-8");
  if (kind_ == Kind::kOther) in_ = std::make_unique<Converter>("UTF-8", known);
  if (!out_->valid()) kind_ = Kind::kUtf8;
}

Charset::~Charset() = default;

const Charset& Charset::ofLocale() {
  static const Charset charset(localeCharset());
  return charset;
}

std::string Charset::decoded(std::string_view bytes) const {
  std::string utf8;
  if (kind_ == Kind::kOther && in_->convert(bytes, &utf8)) return utf8;
  return toUtf8(bytes);
}

std::string Charset::encoded(std::string_view utf8) const {
  if (isUtf8()) return std::string(utf8);
  std::string out;
  for (size_t at = 0; at < utf8.size();) {
    size_t plain = at;
    while (plain < utf8.size() && static_cast<unsigned char>(utf8[plain]) < 0x80) ++plain;
    out += utf8.substr(at, plain - at);
    if (plain == utf8.size()) break;
    const size_t bytes = decodeUtf8(utf8, plain).bytes;
    appendClosest(out, utf8.substr(plain, bytes));
    at = plain + bytes;
  }
  return out;
}

std::string Charset::exactly(std::string_view character) const {
  if (isUtf8()) return std::string(character);
  std::string out;
  if (!out_->convert(character, &out)) out.clear();
  return out;
}

// The letter without its accents, before iconv's idea of it, which goes by the locale.
void Charset::appendClosest(std::string& out, std::string_view character) const {
  constexpr auto kOptions =
      static_cast<utf8proc_option_t>(UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT | UTF8PROC_STRIPMARK);
  const std::string exact = exactly(character);
  if (!exact.empty()) {
    out += exact;
    return;
  }
  const DecodedChar c = decodeUtf8(character, 0);
  utf8proc_int32_t parts[20];
  int boundary = 0;
  const utf8proc_ssize_t count = utf8proc_decompose_char(
      static_cast<utf8proc_int32_t>(c.code), parts, std::size(parts), kOptions, &boundary);
  std::string whole;
  for (utf8proc_ssize_t i = 0; i < std::min<utf8proc_ssize_t>(count, std::size(parts)); ++i) {
    std::string part;
    appendUtf8(part, static_cast<char32_t>(parts[i]));
    part = exactly(part);
    if (part.empty()) {
      whole.clear();
      break;
    }
    whole += part;
  }
  if (whole.empty() && columnsOf(c.code) == 0) return;
  if (whole.empty() && !closest_->convert(character, &whole)) whole.assign(1, '?');
  out += whole;
}

}  // namespace veska

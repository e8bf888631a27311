// The character set of the locale, in which a terminal speaks: what is typed comes in it, what is
// shown goes out in it. Inside the program there is only UTF-8.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace veska {

class Charset {
 public:
  // name: as iconv knows it; unknown ones are taken for UTF-8.
  explicit Charset(const std::string& name);
  ~Charset();
  Charset(const Charset&) = delete;
  Charset& operator=(const Charset&) = delete;

  // That which LC_ALL, LC_CTYPE or LANG name. Where the name says UTF-8, as nearly everywhere, no
  // locale is loaded for it.
  static const Charset& ofLocale();

  bool isUtf8() const { return kind_ == Kind::kUtf8; }
  // The locale "C", or none: nobody has said what the terminal can show.
  bool isAscii() const { return kind_ == Kind::kAscii; }

  // What somebody typed, as UTF-8. Bytes that are none in this set are read as Windows-1252.
  std::string decoded(std::string_view bytes) const;
  // UTF-8 for the terminal. What the set lacks becomes what is closest, or a question mark.
  std::string encoded(std::string_view utf8) const;
  // One character; empty when the set lacks it.
  std::string exactly(std::string_view character) const;

 private:
  enum class Kind { kUtf8, kAscii, kOther };
  class Converter;

  void appendClosest(std::string& out, std::string_view character) const;

  Kind kind_ = Kind::kUtf8;
  std::unique_ptr<Converter> in_, out_, closest_;
};

}  // namespace veska

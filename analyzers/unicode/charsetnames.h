// The names of character sets as documents declare them, and as the system's converter knows them.

#ifndef VESKA_ANALYZERS_UNICODE_CHARSETNAMES_H_
#define VESKA_ANALYZERS_UNICODE_CHARSETNAMES_H_

#include <iconv.h>

#include <string>
#include <string_view>

namespace veska::unicode {

inline constexpr std::string_view kUtf8 = "UTF-8";
inline constexpr std::string_view kWindows1252 = "WINDOWS-1252";

// A converter to UTF-8.
class IconvHandle {
 public:
  explicit IconvHandle(const std::string& charset)
      : handle_(iconv_open("UTF-8", charset.c_str())) {}
  ~IconvHandle() {
    if (isOpen()) iconv_close(handle_);
  }
  IconvHandle(const IconvHandle&) = delete;
  IconvHandle& operator=(const IconvHandle&) = delete;

  bool isOpen() const { return handle_ != iconv_t(-1); }
  iconv_t get() const { return handle_; }

 private:
  iconv_t handle_;
};

// The name of the character set that documents which declare this one really use, in upper case;
// empty when what is declared cannot be a name.
std::string usedName(std::string_view declared);

// Can the character set of that name, as usedName gives it, be converted?
bool isKnown(const std::string& name);

// Has the character set no characters of 8 bits, so that a text which could be read so far is not
// in it?
bool is16Or32Bit(std::string_view name);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_CHARSETNAMES_H_

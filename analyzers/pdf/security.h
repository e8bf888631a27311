// The standard security handler (ISO 32000-2, 7.6) for documents that open without a password:
// those that are only "protected" against copying or printing.

#ifndef VESKA_ANALYZERS_PDF_SECURITY_H_
#define VESKA_ANALYZERS_PDF_SECURITY_H_

#include <optional>
#include <string>
#include <string_view>

#include "analyzers/pdf/object.h"

namespace veska::pdf {

class Security {
 public:
  // encrypt: the trailer's Encrypt dictionary, with nothing in it left to resolve; fileId: first
  // string of the trailer's ID. Result: nothing when a password is needed or the method is unknown.
  static std::optional<Security> open(const Dictionary& encrypt, std::string_view fileId);

  // What was encrypted as part of the object id.
  std::string decryptString(Reference id, std::string_view input) const;
  std::string decryptStream(Reference id, std::string_view input) const;

 private:
  enum class Method { kNone, kRc4, kAes128, kAes256 };

  static Method methodOf(const Dictionary& encrypt, std::string_view use);
  bool findKey(const Dictionary& encrypt, std::string_view fileId);
  bool findKeyFromMd5(const Dictionary& encrypt, std::string_view fileId, size_t keyBytes);
  bool findKeyFromSha(const Dictionary& encrypt);
  std::string decrypt(Method method, Reference id, std::string_view input) const;

  Method strings_ = Method::kRc4;
  Method streams_ = Method::kRc4;
  int64_t revision_ = 0;
  std::string key_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_SECURITY_H_

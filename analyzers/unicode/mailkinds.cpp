#include "analyzers/unicode/mailkinds.h"

#include <algorithm>

#include "analyzers/unicode/mailbox.h"
#include "analyzers/unicode/mailsource.h"

namespace veska::unicode {

std::span<const Kind> mailKinds() {
  static constexpr Kind kKinds[] = {
      {"mail", "eml mht mhtml", false, makeMailSource, isMail},
      {"mbox", "mbox mbx", false, makeMailboxSource, isMailbox},
  };
  return kKinds;
}

// (The conventions of maildir: seconds, a dot, what makes the name unique, a dot, the host.)
bool isDeliveryName(std::string_view name) {
  constexpr size_t kFewestDigits = 9;
  constexpr size_t kMostDigits = 11;
  const size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
  if (digits < kFewestDigits || digits > kMostDigits || digits == name.size()) return false;
  return name[digits] == '.' && name.find('.', digits + 1) != name.npos;
}

}  // namespace veska::unicode

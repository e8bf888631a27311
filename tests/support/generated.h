// Generated texts, the same for the same seed.
#pragma once

#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace veska::test {

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  size_t below(size_t bound) { return random_() % bound; }

  // Up to so many bytes of the alphabet.
  std::string bytes(std::string_view alphabet, size_t most) {
    std::string text(below(most + 1), ' ');
    for (char& c : text) c = alphabet[below(alphabet.size())];
    return text;
  }

  // Up to so many of the pieces, one behind the other.
  template <typename Pieces>
  std::string anyOf(const Pieces& pieces, size_t most) {
    std::string text;
    for (size_t i = below(most + 1); i-- > 0;) text += pieces[below(std::size(pieces))];
    return text;
  }

 private:
  std::mt19937 random_;
};

inline std::string repeated(std::string_view piece, size_t times) {
  std::string text;
  text.reserve(piece.size() * times);
  while (times-- > 0) text += piece;
  return text;
}

}  // namespace veska::test

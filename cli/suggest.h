// "Did you mean ...?"
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace veska {

// The number of letters to insert, delete, replace or swap with their neighbour that leads from one
// word to the other (optimal string alignment distance).
size_t editDistance(std::string_view a, std::string_view b);

// The candidate that is nearest to the word, if it is near enough to be meant; empty otherwise.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

// Fails: "there is no option --fiels; did you mean --files?" for the options of the command.
[[noreturn]] void failUnknownOption(const CLI::App& app, const std::string& option);

}  // namespace veska

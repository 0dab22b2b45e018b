// Close matches for a misspelt name, for error messages.
#pragma once

#include <string>
#include <vector>

namespace kestrel {

// Up to `limit` candidates nearest to `name` by edit distance (ignoring case), nearest first;
// only candidates within a third of the name's length (at least 2 edits) or sharing it as a
// substring qualify.
std::vector<std::string> closeMatches(const std::string& name, const std::vector<std::string>& candidates,
                                      std::size_t limit = 3);

// "; did you mean 'a', 'b'?" with at most five names, or an empty string.
std::string didYouMean(const std::string& name, const std::vector<std::string>& candidates);

}  // namespace kestrel

#include "name_match.h"

#include <algorithm>
#include <cctype>

namespace kestrel {

namespace {
std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> previous(b.size() + 1), current(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) previous[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t substitution = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
        }
        std::swap(previous, current);
    }
    return previous[b.size()];
}
}  // namespace

std::vector<std::string> closeMatches(const std::string& name, const std::vector<std::string>& candidates,
                                      std::size_t limit) {
    const std::string key = lower(name);
    const std::size_t allowed = std::max<std::size_t>(2, key.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> scored;
    for (const std::string& candidate : candidates) {
        const std::string c = lower(candidate);
        std::size_t distance = editDistance(key, c);
        bool contains = !key.empty() && (c.find(key) != std::string::npos || key.find(c) != std::string::npos);
        if (distance <= allowed || contains) scored.emplace_back(contains ? 0 : distance, candidate);
    }
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> result;
    for (const auto& entry : scored) {
        if (result.size() == limit) break;
        result.push_back(entry.second);
    }
    return result;
}

std::string didYouMean(const std::string& name, const std::vector<std::string>& candidates) {
    std::vector<std::string> matches = closeMatches(name, candidates, 5);
    if (matches.empty()) return {};
    std::string text = "; did you mean ";
    for (std::size_t i = 0; i < matches.size(); ++i) {
        if (i) text += i + 1 == matches.size() ? " or " : ", ";
        text += "'" + matches[i] + "'";
    }
    return text + "?";
}

}  // namespace kestrel

// Which word a misspelt one was meant to be. Tests: tests/cimhost/shortforms_test.cpp.

#include "cimhost/suggestion.h"

#include <fmt/format.h>

#include <algorithm>

#include "cim/names.h"

namespace cimhost {

namespace {

using Row = std::vector<std::size_t>;

/** A beginning of at least two characters that fits one word only is taken for that word. */
std::string completed(const std::string& word, const std::vector<std::string>& words) {
    if (word.size() < 2) return "";
    const auto begins = [&](const std::string& whole) {
        return whole.size() > word.size() && cim::sameName(whole.substr(0, word.size()), word);
    };
    const auto found = std::find_if(words.begin(), words.end(), begins);
    if (found == words.end() || std::any_of(found + 1, words.end(), begins)) return "";
    return *found;
}

}  // namespace

std::size_t editDistance(std::string_view left, std::string_view right) {
    const std::string a = cim::foldedName(left);
    const std::string b = cim::foldedName(right);
    // Distances between the beginnings of both: rows by the length of a's, columns by the length of b's.
    std::vector<Row> rows(a.size() + 1, Row(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) rows[i][0] = i;
    for (std::size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = rows[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            rows[i][j] = std::min({replaced, rows[i - 1][j] + 1, rows[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
        }
    }
    return rows[a.size()][b.size()];
}

std::string nearest(const std::string& word, const std::vector<std::string>& words) {
    std::string best;
    std::size_t bestDistance = 0;
    for (const std::string& each : words) {
        const std::size_t distance = editDistance(word, each);
        // A third of the characters may be wrong, one of a short word.
        const std::size_t most = std::max<std::size_t>(1, std::min(word.size(), each.size()) / 3);
        if (distance > most || (!best.empty() && distance >= bestDistance)) continue;
        best = each;
        bestDistance = distance;
    }
    return best.empty() ? completed(word, words) : best;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& words) {
    const std::string found = nearest(word, words);
    return found.empty() ? "" : fmt::format(", did you mean {}?", found);
}

}  // namespace cimhost

#include "host/suggestion.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

// Damerau's distance, where two swapped neighbours are one mistake.
std::size_t distance(const std::string &left, const std::string &right)
{
    std::vector<std::vector<std::size_t>> cost(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t isOther = left[i - 1] == right[j - 1] ? 0 : 1;
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + isOther});
            const bool isSwap = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
            if (isSwap)
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[left.size()][right.size()];
}

} // namespace

std::string closest(const std::string &word, const std::vector<std::string> &known)
{
    constexpr std::size_t longestWord = 64; // nobody mistypes more
    constexpr std::size_t shortestHead = 3; // letters that may stand for a whole word
    if (word.empty() || word.size() > longestWord)
        return {};
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string &candidate : known) {
        const std::size_t wrong = distance(word, candidate);
        if (wrong < bestDistance) {
            best = candidate;
            bestDistance = wrong;
        }
    }
    if (!best.empty() || word.size() < shortestHead)
        return best;
    const auto begins = [&](const std::string &candidate) { return candidate.rfind(word, 0) == 0; };
    if (std::count_if(known.begin(), known.end(), begins) == 1)
        best = *std::find_if(known.begin(), known.end(), begins);
    return best;
}

} // namespace VESK::Host

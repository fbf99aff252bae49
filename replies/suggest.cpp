#include "replies/suggest.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "replies/words.h"

namespace replies {
namespace {

// Letters to put in, take out, change or swap with their neighbour, to make `a` into `b`, or into some part
// of it.
size_t Distance(const std::string& a, const std::string& b, bool part) {
  std::vector<size_t> before(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> now(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j)
    last[j] = part ? 0 : j;
  for (size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      now[j] = std::min({now[j - 1] + 1, last[j] + 1, last[j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        now[j] = std::min(now[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(now);
  }
  return part ? *std::min_element(last.begin(), last.end()) : last[b.size()];
}

}  // namespace

std::vector<std::string> Nearest(std::string_view word, const std::vector<std::string>& known) {
  const std::string wanted = LowerCase(word.substr(0, 200));
  const size_t farthest = std::max<size_t>(2, wanted.size() / 4);
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& candidate : known) {
    const std::string lower = LowerCase(candidate);
    size_t distance = Distance(wanted, lower, false);
    // A piece of a longer name, with at most one slip.
    if (wanted.size() >= 4 && Distance(wanted, lower, true) <= 1) distance = std::min<size_t>(distance, 2);
    if (distance <= farthest && distance < lower.size()) near.emplace_back(distance, candidate);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> result;
  for (size_t i = 0; i < near.size() && i < 3 && near[i].first == near[0].first; ++i)
    result.push_back(near[i].second);
  return result;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& known) {
  const auto near = Nearest(word, known);
  std::string text;
  for (const std::string& candidate : near)
    text += (text.empty() ? "; did you mean \"" : " or \"") + candidate + "\"";
  return text.empty() ? text : text + "?";
}

}  // namespace replies

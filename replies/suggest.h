// "Did you mean": the words nearest to a mistyped one.
#ifndef REPLIES_SUGGEST_H_
#define REPLIES_SUGGEST_H_

#include <string>
#include <string_view>
#include <vector>

namespace replies {

// Up to three, the nearest first; none if nothing is near. The case of letters does not count.
std::vector<std::string> Nearest(std::string_view word, const std::vector<std::string>& known);

// "; did you mean \"json\"?", or nothing.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

}  // namespace replies

#endif  // REPLIES_SUGGEST_H_

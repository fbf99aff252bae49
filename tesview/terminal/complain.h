// What the program has to say beside its output.
#ifndef TESVIEW_TERMINAL_COMPLAIN_H_
#define TESVIEW_TERMINAL_COMPLAIN_H_

#include <string>

namespace tesview {

// One line on standard error: "tesview: what".
void Complain(const std::string& what);

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_COMPLAIN_H_

// The three renderers over one input, as every target with replies runs them.
#ifndef FUZZ_SUPPORT_RENDERERS_H_
#define FUZZ_SUPPORT_RENDERERS_H_

#include <string>

namespace fuzz {

// Renders the reply in all forms that may differ, reads the tables and frees them.
void RenderAll(const std::string& reply);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_RENDERERS_H_

// The specs that a thread remembers. A reply makes thousands of nested tables with one spec, so each thread
// keeps the last few that it parsed.
#ifndef TSL_BASE_DETAIL_SPEC_CACHE_H_
#define TSL_BASE_DETAIL_SPEC_CACHE_H_

#include "tsl_base/detail/spec.h"

namespace tsl_base {
namespace detail {

// The spec of that text, with a reference that is the caller's. Throws std::bad_alloc.
Spec* AcquireSpec(const char* text);
void ReleaseSpec(Spec* spec) noexcept;

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_SPEC_CACHE_H_

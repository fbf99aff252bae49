// The specs that a thread parsed last: a reply makes thousands of nested tables with one spec.
#ifndef TSL_BASE_DETAIL_SPEC_CACHE_H_
#define TSL_BASE_DETAIL_SPEC_CACHE_H_

#include "tsl_base/detail/spec.h"

namespace tsl_base {
namespace detail {

// The spec of that text, with a reference that is the caller's. Throws std::bad_alloc.
Spec* AcquireSpec(const char* text);

}  // namespace detail
}  // namespace tsl_base

#endif  // TSL_BASE_DETAIL_SPEC_CACHE_H_

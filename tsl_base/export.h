/* Which symbols libtsl_base exports; everything else in it is hidden. */
#ifndef TSL_BASE_EXPORT_H_
#define TSL_BASE_EXPORT_H_

#if defined(_WIN32)
#if defined(TSL_BASE_BUILDING)
#define TSL_BASE_API __declspec(dllexport)
#else
#define TSL_BASE_API __declspec(dllimport)
#endif
#else
#define TSL_BASE_API __attribute__((visibility("default")))
#endif

#endif /* TSL_BASE_EXPORT_H_ */

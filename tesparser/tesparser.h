// One reply of the market-data service in, what the terminal shows out: JSON text, or a table.
//
// All five functions are self-contained: no initialisation, no handle, no configuration, nothing kept from
// one call to the next. Any number of threads may call any of them at once. Tables are read and freed with
// tsl_base/table.h, or with the C++ layer in tsl_base/table.hpp.
//
// Caller and library share one C++ runtime: std::string crosses the boundary.
//
// Any bytes may be passed: bytes that do not parse give the failure value, and nothing is read or written out
// of bounds. 128 KB of stack are enough for any call, however deeply the reply is nested.
#ifndef TESPARSER_TESPARSER_H_
#define TESPARSER_TESPARSER_H_

#include <exception>
#include <string>

#if defined(_WIN32)
#if defined(TESPARSER_BUILDING)
#define TESPARSER_API __declspec(dllexport)
#else
#define TESPARSER_API __declspec(dllimport)
#endif
#define TESPARSER_TYPE_API
#else
#define TESPARSER_API __attribute__((visibility("default")))
#define TESPARSER_TYPE_API __attribute__((visibility("default")))
#endif

namespace google {
namespace protobuf {
class FieldDescriptor;
}  // namespace protobuf
}  // namespace google

// The layouts of the typed export. Any int may be passed; a value that is not listed gives null.
enum TPType : int {
  TPTypeById = 0,           // whatever TesparserPB2Table gives
  TPTypeDaDan = 1,          // large-order time series of each object
  TPTypeFenLeiChiCang = 2,  // holdings by class of holder, by date
  TPTypeBxzjStock = 3,      // northbound capital's holding history of a stock
  TPTypeBxzjBlock = 4,      // has no table form: always null
  TPTypeToken = 5,          // the token reply
  TPTypeZhiBiao1 = 101,     // indicator output with 1 result column,
  TPTypeZhiBiao2 = 102,     // with 2,
  TPTypeZhiBiao3 = 103,     // and so on
  TPTypeZhiBiao4 = 104,
  TPTypeZhiBiao5 = 105,
  TPTypeZhiBiao6 = 106,
  TPTypeZhiBiao7 = 107,
  TPTypeZhiBiao8 = 108,
  TPTypeZhiBiao9 = 109,
  TPTypeZhiBiao10 = 110,
  TPTypeZhiBiao11 = 111,
  TPTypeZhiBiao12 = 112,
  TPTypeZhiBiao13 = 113,
  TPTypeZhiBiao14 = 114,
  TPTypeZhiBiao15 = 115,
  TPTypeZhiBiao16 = 116,
};

// Thrown by TesparserPB2Json for a reply that parses but has a value JSON cannot express: text that is not
// valid UTF-8, a number that is NaN or infinite; also when memory for a value is exhausted.
//
// Defined completely here, so that a program that loads the library at run time can catch it by this type
// too.
class TESPARSER_TYPE_API j2pb_error : public std::exception {
 public:
  // Only the library makes these.
  j2pb_error(const google::protobuf::FieldDescriptor* field, const std::string& message);
  j2pb_error(const j2pb_error&) = default;
  j2pb_error& operator=(const j2pb_error&) = default;
  ~j2pb_error() override {}

  // The name of the field that failed, ": " and what failed. Valid as long as this object.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

// Renders a whole reply as JSON.
//
// data     the bytes of one serialized reply, zero bytes included. Only read.
// Returns  one line of JSON with every field that was sent, under its name in the schema: text as UTF-8,
//          bytes as base64, enumerations as numbers, packed decimals as their raw 64-bit numbers, unsigned
//          64-bit numbers taken as signed. The order of keys is not promised. The empty string if the bytes
//          are no reply or lack a required field; a valid reply never gives it.
// Errors   j2pb_error as told there; std::bad_alloc when memory is exhausted. Where it was the text that
//          could not grow, jansson then loses one block, and one for each level of the text at that place.
TESPARSER_API std::string TesparserPB2Json(const std::string& data);

// Turns a reply into the table that belongs to its Id.
//
// data     the bytes of one serialized reply. Only read.
// Returns  a table owned by the caller, to be freed with table_free(), or null: the bytes are no reply,
//          the Id has no table form, or there is nothing to show. The result does not say which.
// Errors   std::bad_alloc when memory is exhausted; what was built up to then is lost.
TESPARSER_API void* TesparserPB2Table(const std::string& data);

// Turns a reply into the table that the caller names. The reply may arrive in either of two forms: its own
// message, or a wire table whose columns are matched by name.
//
// data     the bytes of one serialized reply. Only read.
// type     the layout; TPTypeById gives what TesparserPB2Table gives.
// Returns  as TesparserPB2Table; null also for a reply of another kind than `type` names.
// Errors   as TesparserPB2Table.
TESPARSER_API void* TesparserPB2TableType(const std::string& data, TPType type);

// Unpacks one packed decimal, as JSON shows them.
//
// value    the raw 64 bits.
// divisor  receives the power of ten by which the mantissa was divided, 1 for whole numbers; not changed
//          if `value` holds no number. May be null. Set it to 0 before the call to tell 0.0 from no
//          number.
// Returns  the number; 0.0 if there is none: a negative value, scale code 2 or one above 10. Minus zero is
//          possible.
// Errors   none.
TESPARSER_API double TesparserInt64ToDouble(long long value, int* divisor);

// The same as a whole number: 0.5 is added and the fraction cut off. Positive halves are rounded up, and
// negative numbers are not rounded symmetrically (-1.2 gives 0, -1.5 gives -1, -2.5 gives -2).
//
// value    the raw 64 bits.
// divisor  as for TesparserInt64ToDouble(), and not changed by the rounding.
// Returns  the number, or -2147483648 if it is outside the range of int.
TESPARSER_API int TesparserInt64ToInt(long long value, int* divisor);

#endif  // TESPARSER_TESPARSER_H_

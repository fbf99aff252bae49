// Any message as JSON text, by reflection: nothing here knows a message type.
//
// A tree of jansson values is built and then written. Text must be valid UTF-8 and numbers finite: one value
// that JSON cannot express fails the whole message with j2pb_error, and the tree under construction is
// released on the way. No state; any number of threads at once. Recursion is as deep as the message nests,
// which the parser bounds.
#ifndef TESPARSER_MESSAGE_TO_JSON_H_
#define TESPARSER_MESSAGE_TO_JSON_H_

#include <google/protobuf/message.h>
#include <jansson.h>

#include <cstddef>
#include <string>

// Holds one reference to a JSON value and gives it back when it goes out of scope.
class JsonValueGuard {
 public:
  explicit JsonValueGuard(json_t* value) : value_(value) {}
  JsonValueGuard(const JsonValueGuard&) = delete;
  JsonValueGuard& operator=(const JsonValueGuard&) = delete;
  ~JsonValueGuard() { json_decref(value_); }

  json_t* get() const { return value_; }
  // Hands the reference to the caller.
  json_t* release() {
    json_t* value = value_;
    value_ = nullptr;
    return value;
  }

 private:
  json_t* value_;
};

// The message as one line of JSON text.
std::string MessageToJson(const google::protobuf::Message& message);

// One message as one object, a new reference; null if the message has no descriptor or no reflection, or if
// memory for the object is exhausted.
json_t* MessageToObject(const google::protobuf::Message& message);

// One value of one field, a new reference, never null. `index` selects the element of a repeated field and is
// ignored for a singular one. Throws j2pb_error where there is no JSON value for it.
json_t* FieldToValue(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field,
                     int index);

// Base64 with the standard alphabet, padded, without line breaks.
std::string Base64Encode(const std::string& bytes);

// The dump callback: appends to the std::string that `data` points to. Returns 0.
int AppendToString(const char* buffer, size_t size, void* data);

#endif  // TESPARSER_MESSAGE_TO_JSON_H_

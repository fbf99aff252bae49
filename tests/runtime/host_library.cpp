// A library of a host that has classes of its own from a file MSG.proto, and the system's protobuf.
#include <string>

#include "MSG.pb.h"

extern "C" __attribute__((visibility("default"))) bool host_reads_what_it_wrote() {
  tessel::MSG written;
  written.set_greeting("hello");
  written.add_numbers(-1);
  tessel::MSG read;
  return read.ParseFromString(written.SerializeAsString()) && read.greeting() == "hello" &&
         read.numbers(0) == -1 && read.GetDescriptor()->field_count() == 2 && !read.ParseFromString("\x08");
}

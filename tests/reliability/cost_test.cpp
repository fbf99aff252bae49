// Claim: no reply makes a call cost more than linear in its bytes and those of its result, and what we add to
// the parser's own cost is bounded for each byte. The replies below are the worst that we could think of.
//
// The floor is a call that only parses (a layout without a converter), and it is subtracted: what generated
// classes cost by themselves is not ours. Memory is what is held at the worst moment, result included; time
// includes freeing the result. RELIABILITY_TABLE=1 prints the figures as the table of docs/reliability.md.
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/reliability/malloc.h"
#include "tests/reliability/replies.h"
#include "tests/support/processor_time.h"
#include "tests/support/replies.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using reliability::Bytes;
using reliability::Data;
using reliability::Info;
using reliability::Number;
using reliability::Route;
using reliability::WireReply;

const google::protobuf::LogSilencer kQuiet;

std::string Times(size_t n, const std::string& piece) {
  std::string all;
  all.reserve(n * piece.size());
  for (size_t i = 0; i < n; ++i)
    all += piece;
  return all;
}

// ---- replies that cost much -------------------------------------------------------------------------------

struct Hostile {
  std::string name;
  std::function<std::string(size_t bytes)> make;  // a reply of about that size
};

// One column of tables that all share the description in the first of them.
std::string ManyTables(size_t n, const std::string& info, const std::string& data) {
  return WireReply(Info("", 't') + Data(Bytes(7, info + data) + Times(n, Bytes(7, data))));
}

std::string OneColumn(const std::string& name, int type, const std::string& values) {
  return WireReply(Info(name, type) + Data(values));
}

// Half of the bytes describe the columns, the other half are tables with these columns.
std::string ManyTablesOf(size_t bytes, const std::string& info, const std::string& data) {
  return ManyTables(bytes / 2 / (data.size() + 2), info, data);
}

const std::string kOneNumber = Data(Bytes(2, std::string("\x01")));

std::string BigDoubles(size_t n) {
  const double value = 1.7976931348623157e308;
  const float counted = 0;
  return Bytes(4, Times(n, std::string(reinterpret_cast<const char*>(&value), sizeof(value)))) +
         Bytes(3, Times(n, std::string(reinterpret_cast<const char*>(&counted), sizeof(counted))));
}

std::vector<Hostile> WireReplies() {
  return {
      {"rows announced by one column, one value in each of the others",
       [](size_t bytes) {
         const size_t n = bytes / 18;
         return WireReply(Times(n, Info("", 'i')) + Data(Bytes(2, Times(n, "\x01"))) +
                          Times(n - 1, kOneNumber));
       }},
      {"one row, as many columns as fit",
       [](size_t bytes) {
         const size_t n = bytes / 17;
         return WireReply(Times(n, Info("", 'i')) + Times(n, kOneNumber));
       }},
      {"a column name that is all separators",
       [](size_t bytes) { return OneColumn(std::string(bytes, ';'), 'i', Bytes(2, "\x01")); }},
      {"a column name that names very many columns",
       [](size_t bytes) { return OneColumn(Times(bytes / 4, "a:q;"), 'i', Bytes(2, "\x01")); }},
      {"a long column name shared by small tables",
       [](size_t bytes) { return ManyTablesOf(bytes, Info(std::string(bytes / 2, 'n'), 'i'), kOneNumber); }},
      {"a name of separators shared by small tables",
       [](size_t bytes) { return ManyTablesOf(bytes, Info(std::string(bytes / 2, ';'), 'i'), kOneNumber); }},
      {"a name of very many columns shared by small tables",
       [](size_t bytes) {
         return ManyTablesOf(bytes, Info("x:d;" + Times(bytes / 8, "a:q;"), 'i'), kOneNumber);
       }},
      {"the same with a child in each of the small tables",
       [](size_t bytes) {
         const std::string child = Bytes(7, Info("", 'i') + kOneNumber);
         return ManyTablesOf(bytes, Info("x:t;" + Times(bytes / 8, "a:q;"), 't'), Data(child));
       }},
      {"a name of separators, a child in each of the small tables",
       [](size_t bytes) {
         const std::string child = Bytes(7, Info("", 'i') + kOneNumber);
         return ManyTablesOf(bytes, Info("x:t;" + std::string(bytes / 2, ';'), 't'), Data(child));
       }},
      {"a spec just too short to be read once only, shared by small tables",
       [](size_t bytes) {
         return ManyTables(bytes / 9, Info("x:d;" + Times(1022, "a:q;"), 'i'), kOneNumber);
       }},
      {"the same, each time forgotten over eight other specs",
       [](size_t bytes) {
         std::string columns;
         std::string data;
         for (int c = 0; c < 8; ++c) {
           columns += Info("", 't');
           data += Data(Bytes(7, Info(std::to_string(c), 'i') + kOneNumber));
         }
         return ManyTables(bytes / (data.size() + 4), columns + Info("x:d;" + Times(1010, "a:q;"), 'i'),
                           data + Data(""));
       }},
      {"tables of one number", [](size_t bytes) { return ManyTables(bytes / 9, Info("", 'i'), kOneNumber); }},
      {"tables of one letter",
       [](size_t bytes) { return ManyTables(bytes / 9, Info("", 's'), Data(Bytes(5, "a"))); }},
      {"tables of 16 rows and 16 columns with one column filled",
       [](size_t bytes) {
         const std::string data = Data(Bytes(2, Times(16, "\x01"))) + Times(15, Data(""));
         return ManyTables(bytes / (data.size() + 2), Times(16, Info("", 'i')), data);
       }},
      {"tables of 17 rows and 16 columns with one value in each column",
       [](size_t bytes) {
         const std::string data = Data(Bytes(2, Times(17, "\x01"))) + Times(15, kOneNumber);
         return ManyTables(bytes / (data.size() + 2), Times(16, Info("", 'i')), data);
       }},
      {"tables without a row", [](size_t bytes) { return ManyTables(bytes / 2, Info("", 'i'), ""); }},
      {"one column of packed numbers",
       [](size_t bytes) { return OneColumn("", 'i', Bytes(2, Times(bytes, "\x01"))); }},
      {"one column of differences",
       [](size_t bytes) { return OneColumn("", 'x', Bytes(9, Times(bytes, "\x01"))); }},
      {"one column of empty texts",
       [](size_t bytes) { return OneColumn("", 's', Times(bytes / 2, Bytes(5, ""))); }},
      {"one column of one-letter texts",
       [](size_t bytes) { return OneColumn("", 's', Times(bytes / 3, Bytes(5, "a"))); }},
      {"one column of one-byte byte strings",
       [](size_t bytes) { return OneColumn("", 'b', Times(bytes / 3, Bytes(6, "a"))); }},
      {"one text of control characters",
       [](size_t bytes) { return OneColumn("", 's', Bytes(5, std::string(bytes, '\x01'))); }},
      {"one text of ill-formed UTF-8",
       [](size_t bytes) { return OneColumn("", 's', Bytes(5, std::string(bytes, '\xE4'))); }},
      {"one byte string", [](size_t bytes) { return OneColumn("", 'b', Bytes(6, std::string(bytes, 'a'))); }},
      {"one column of doubles", [](size_t bytes) { return OneColumn("", 'd', BigDoubles(bytes / 12)); }},
      {"one typed table of nameless columns",
       [](size_t bytes) { return ManyTables(0, "", Times(bytes / 19, Info("", 'i') + kOneNumber)); }},
      {"typed tables, each described anew",
       [](size_t bytes) {
         const std::string table = Bytes(7, Info("", 'i') + kOneNumber);
         return WireReply(Info("", 't') + Data(Times(bytes / table.size(), table)));
       }},
      {"one typed table with one name for all columns",
       [](size_t bytes) {
         const size_t n = bytes / 24;
         return WireReply(Info("", 't') +
                          Data(Bytes(7, Times(n, Info("ShiJian", 'i')) + Times(n, kOneNumber))));
       }},
      {"one typed table with long names",
       [](size_t bytes) {
         return WireReply(Info("", 't') + Data(Bytes(7, Times(8, Info(std::string(bytes / 8, 'n'), 'i')) +
                                                            Times(8, kOneNumber))));
       }},
      {"typed text cells from doubles of 309 digits",
       [](size_t bytes) {
         return WireReply(Info("", 't') + Data(Bytes(7, Info("Token", 'd') + Data(BigDoubles(bytes / 12)))));
       }},
  };
}

// These cost in the parser alone: no route gets to see what they hold. A parse that misses required fields is
// told to protobuf's log, with the path to each of them.
std::vector<Hostile> ParserReplies() {
  return {
      {"fields that the schema does not know",
       [](size_t bytes) { return Number(1, 20) + Times(bytes / 4, Number(100000, 1)); }},
      {"columns without their required field",
       [](size_t bytes) { return WireReply(Times(bytes / 2, Bytes(3, ""))); }},
      {"the same 49 tables deep",
       [](size_t bytes) {
         std::string table = Times(bytes / 2, Bytes(3, ""));
         for (int level = 0; level < 48; ++level)
           table = Data(Bytes(7, table));
         return Number(1, 3) + Bytes(3, table);
       }},
  };
}

// ---- replies made from the schema -------------------------------------------------------------------------

void FillRequired(Message* message) {
  const auto* type = message->GetDescriptor();
  const auto* reflection = message->GetReflection();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (!field->is_required()) continue;
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_UINT32: reflection->SetUInt32(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_UINT64: reflection->SetUInt64(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, 0); break;
      case FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, false); break;
      case FieldDescriptor::CPPTYPE_ENUM:
        reflection->SetEnum(message, field, field->default_value_enum());
        break;
      case FieldDescriptor::CPPTYPE_STRING: reflection->SetString(message, field, ""); break;
      case FieldDescriptor::CPPTYPE_MESSAGE: FillRequired(reflection->MutableMessage(message, field)); break;
    }
  }
}

// A reply of elements with nothing but their required fields, in the payload field of that number; and one
// where each element holds as many of its own first repeated message.
std::string EmptyElements(const FieldDescriptor* payload, size_t bytes) {
  const auto element = test_replies::New(payload->message_type()->full_name().substr(7));
  FillRequired(element.get());
  const std::string one = Bytes(payload->number(), test_replies::Bytes(*element));
  return Number(1, static_cast<uint64_t>(payload->number())) + Times(bytes / one.size(), one);
}

std::string EmptyGrandchildren(const FieldDescriptor* payload, const FieldDescriptor* inner, size_t bytes) {
  const auto element = test_replies::New(payload->message_type()->full_name().substr(7));
  const auto child = test_replies::New(inner->message_type()->full_name().substr(7));
  FillRequired(element.get());
  FillRequired(child.get());
  const std::string one = Bytes(inner->number(), test_replies::Bytes(*child));
  return Number(1, static_cast<uint64_t>(payload->number())) +
         Bytes(payload->number(), test_replies::Bytes(*element) + Times(bytes / one.size(), one));
}

std::vector<Hostile> SchemaReplies() {
  std::vector<Hostile> all;
  const auto* envelope = test_replies::Pool().FindMessageTypeByName("tessel.MSG");
  for (int i = 0; i < envelope->field_count(); ++i) {
    const FieldDescriptor* payload = envelope->field(i);
    if (!payload->is_repeated() || payload->message_type() == nullptr) continue;
    all.push_back({payload->name(), [payload](size_t bytes) { return EmptyElements(payload, bytes); }});
    const auto* type = payload->message_type();
    for (int k = 0; k < type->field_count(); ++k) {
      const FieldDescriptor* inner = type->field(k);
      if (!inner->is_repeated() || inner->message_type() == nullptr) continue;
      all.push_back({payload->name() + "." + inner->name(),
                     [payload, inner](size_t bytes) { return EmptyGrandchildren(payload, inner, bytes); }});
    }
  }
  return all;
}

// ---- measuring --------------------------------------------------------------------------------------------

struct Cost {
  double held = 0;       // bytes at the worst moment
  double allocated = 0;  // bytes in all
  double ns = 0;
  double output = 0;  // bytes of JSON
};

// The table of the Id, handed out as Arrow arrays and released.
const Route kArrow{"arrow", false, true, TPTypeById};

void ExportAndRelease(void* table) {
  ArrowSchema schema{};
  ArrowArray array{};
  if (table == nullptr) return;
  if (table_export_arrow(table, &schema, &array) != 0) {
    table_free(table);
    return;
  }
  schema.release(&schema);
  array.release(&array);
}

void CallAndFree(const Route& route, const std::string& reply, Cost* cost) {
  if (route.name == kArrow.name) {
    ExportAndRelease(reliability::CallTable(route, reply));
    return;
  }
  if (!route.json) {
    table_free(reliability::CallTable(route, reply));
    return;
  }
  try {
    cost->output = static_cast<double>(TesparserPB2Json(reply).size());
  } catch (const j2pb_error&) {
  }
}

// What the calls free is kept for the next ones, so that the kernel's part in it is left out.
const bool kKeepsMemory = mallopt(M_MMAP_MAX, 0) != 0 && mallopt(M_TRIM_THRESHOLD, INT_MAX) != 0;

double TimeOf(const Route& route, const std::string& reply) {
  Cost cost;
  return processor_time::Of([&] { CallAndFree(route, reply, &cost); }) * 1e9;
}

Cost CostOf(const Route& route, const std::string& reply) {
  Cost cost;
  CallAndFree(route, reply, &cost);  // what is set up at first use is no cost of the reply
  reliability::StartCounting();
  CallAndFree(route, reply, &cost);
  const reliability::Heap heap = reliability::StopCounting();
  cost.held = static_cast<double>(heap.peak);
  cost.allocated = static_cast<double>(heap.allocated);
  cost.ns = std::min(TimeOf(route, reply), TimeOf(route, reply));
  return cost;
}

// A virtual processor that is taken away meanwhile only adds, so more runs tell where a time is too long.
void TimeAgainAbove(double most, const Route& route, const std::string& reply, Cost* cost) {
  for (int runs = 0; runs < 20 && cost->ns > most; ++runs)
    cost->ns = std::min(cost->ns, TimeOf(route, reply));
}

const Route kParseOnly{"parse", false, false, TPTypeBxzjBlock};

std::vector<Route> MeasuredRoutes() {
  std::vector<Route> routes;
  for (const Route& route : reliability::Routes()) {
    const bool typed =
        route.type == TPTypeDaDan || route.type == TPTypeToken || route.type == TPTypeZhiBiao16;
    if (route.json || route.by_id || typed) routes.push_back(route);
  }
  routes.push_back(kArrow);
  return routes;
}

// What a route costs for each byte of a reply, beyond parsing it.
struct Ratio {
  double held = 0;
  double ns = 0;
};

Ratio Beyond(const Cost& call, const Cost& floor, size_t bytes) {
  const auto size = static_cast<double>(bytes);
  return {std::max(0.0, call.held - floor.held) / size, std::max(0.0, call.ns - floor.ns) / size};
}

bool PrintsTable() {
  return std::getenv("RELIABILITY_TABLE") != nullptr;
}

// The bounds that are ours to hold, for each byte of a reply. Memory is counted and the same everywhere; of
// the time, what a slow and busy machine takes is left room for.
constexpr double kMostHeld = 256;
#if defined(__OPTIMIZE__)
constexpr double kMostNs = 2000;
#else
constexpr double kMostNs = 20000;
#endif

// A reply of eight times the size may cost so many times as much beyond parsing: columns grow in steps of
// eight, and time needs a margin. What is quadratic costs 64 times as much.
constexpr size_t kSmall = 32 * 1024;
constexpr size_t kLarger = 8;
constexpr double kMostMemoryGrowth = 16;
constexpr double kBlocks = 64 * 1024;
constexpr double kMostTimeGrowth = 24;
constexpr double kShortestTime = 20000;  // ns; below it there is nothing to compare

struct Measured {
  Cost small;
  Cost large;
};

double MostTimeOfLarge(const Cost& small) {
  return kMostTimeGrowth * std::max(small.ns, kShortestTime);
}

Measured Measure(const Route& route, const std::string& small, const std::string& large) {
  Measured cost{CostOf(route, small), CostOf(route, large)};
  TimeAgainAbove(MostTimeOfLarge(cost.small), route, large, &cost.large);
  return cost;
}

void ExpectLinear(const Measured& call, const Measured& floor) {
  EXPECT_LE(call.large.allocated - floor.large.allocated,
            kMostMemoryGrowth * (call.small.allocated - floor.small.allocated) + kBlocks);
  EXPECT_LE(call.large.ns, MostTimeOfLarge(call.small));
}

void PrintParse(const std::string& name, const Cost& floor, size_t bytes) {
  const auto size = static_cast<double>(bytes);
  if (PrintsTable())
    std::printf("| %s | %.0f B, %.1f ns |", name.c_str(), floor.held / size, floor.ns / size);
}

TEST(Cost, OfWireTablesIsLinearAndBounded) {
  const std::vector<Route> routes = MeasuredRoutes();
  if (PrintsTable()) {
    std::printf("| reply | parse |");
    for (const Route& route : routes)
      std::printf(" %s |", route.name.c_str());
    std::printf("\n");
  }
  for (const Hostile& hostile : WireReplies()) {
    SCOPED_TRACE(hostile.name);
    const std::string small = hostile.make(kSmall);
    const std::string large = hostile.make(kSmall * kLarger);
    EXPECT_GT(large.size(), small.size() * (kLarger - 1));
    const Measured floor = Measure(kParseOnly, small, large);
    PrintParse(hostile.name, floor.large, large.size());
    for (const Route& route : routes) {
      SCOPED_TRACE(route.name);
      Measured call = Measure(route, small, large);
      ExpectLinear(call, floor);
      TimeAgainAbove(floor.large.ns + kMostNs * static_cast<double>(large.size()), route, large, &call.large);
      const Ratio ours = Beyond(call.large, floor.large, large.size());
      EXPECT_LE(ours.held, kMostHeld);
      EXPECT_LE(ours.ns, kMostNs);
      if (PrintsTable()) std::printf(" %.0f B, %.1f ns |", ours.held, ours.ns);
    }
    if (PrintsTable()) std::printf("\n");
  }
}

// Not ours to bound, but to know.
TEST(Cost, OfParsingAlone) {
  for (const Hostile& hostile : ParserReplies()) {
    const std::string reply = hostile.make(kSmall);
    PrintParse(hostile.name, CostOf(kParseOnly, reply), reply.size());
    if (PrintsTable()) std::printf("\n");
    for (const Route& route : MeasuredRoutes()) {
      const Ratio ours = Beyond(CostOf(route, reply), CostOf(kParseOnly, reply), reply.size());
      EXPECT_LE(ours.held, 1) << route.name;
    }
  }
}

struct Worst {
  std::string held_by;
  std::string ns_by;
  Ratio ratio;

  void Take(const std::string& name, const Ratio& other) {
    if (other.held > ratio.held) {
      ratio.held = other.held;
      held_by = name;
    }
    if (other.ns > ratio.ns) {
      ratio.ns = other.ns;
      ns_by = name;
    }
  }
  void Print(const std::string& route) const {
    std::printf("| %s | %.0f B | %s | %.1f ns | %s |\n", route.c_str(), ratio.held, held_by.c_str(), ratio.ns,
                ns_by.c_str());
  }
};

// Every list of the schema, filled with elements that have nothing in them.
TEST(Cost, OfEmptyElementsIsBounded) {
  const std::vector<Route> routes = MeasuredRoutes();
  std::vector<Worst> worst(routes.size());
  Worst parse;
  for (const Hostile& hostile : SchemaReplies()) {
    SCOPED_TRACE(hostile.name);
    const std::string reply = hostile.make(4000);
    const Cost floor = CostOf(kParseOnly, reply);
    parse.Take(hostile.name, Beyond(floor, Cost(), reply.size()));
    for (size_t i = 0; i < routes.size(); ++i) {
      const Ratio ours = Beyond(CostOf(routes[i], reply), floor, reply.size());
      EXPECT_LE(ours.held, kMostHeld) << routes[i].name;
      worst[i].Take(hostile.name, ours);
    }
  }
  if (!PrintsTable()) return;
  parse.Print("parse");
  for (size_t i = 0; i < routes.size(); ++i)
    worst[i].Print(routes[i].name);
}

// The samples with each list at one depth made longer.
void Lengthen(Message* message, int depth, int times) {
  const auto* reflection = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr) continue;
    if (!field->is_repeated()) {
      Lengthen(reflection->MutableMessage(message, field), depth, times);
      continue;
    }
    const int count = reflection->FieldSize(*message, field);
    if (depth > 0) {
      Lengthen(reflection->MutableRepeatedMessage(message, field, 0), depth - 1, times);
      continue;
    }
    for (int i = 0; i < count * (times - 1); ++i)
      reflection->AddMessage(message, field)
          ->CopyFrom(reflection->GetRepeatedMessage(*message, field, i % count));
  }
}

// Empty where the sample is a damaged one.
std::string Lengthened(const std::string& reply, int depth, int times) {
  const auto message = test_replies::New("MSG");
  if (!message->ParseFromString(reply)) return std::string();
  Lengthen(message.get(), depth, times);
  return test_replies::Bytes(*message);
}

TEST(Cost, OfLongerSamplesIsLinear) {
  int lengthened = 0;
  for (const reliability::Sample& sample : reliability::Samples()) {
    for (int depth = 0; depth < 3; ++depth) {
      // Long samples are made less longer.
      const int longer = reliability::kBrief ? 10 : 50;
      const int times = sample.reply.size() > 2000 ? longer / 10 : longer;
      const std::string small = Lengthened(sample.reply, depth, times);
      if (small.empty()) continue;
      ++lengthened;
      const std::string large = Lengthened(sample.reply, depth, times * static_cast<int>(kLarger));
      const Measured floor = Measure(kParseOnly, small, large);
      for (const Route& route : MeasuredRoutes()) {
        SCOPED_TRACE(sample.name + ", depth " + std::to_string(depth) + ", " + route.name);
        ExpectLinear(Measure(route, small, large), floor);
      }
    }
  }
  EXPECT_GT(lengthened, 30);
}

}  // namespace

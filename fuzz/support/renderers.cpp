#include "fuzz/support/renderers.h"

#include "fuzz/support/target.h"
#include "fuzz/support/walk_table.h"
#include "tesparser/tesparser.h"

namespace fuzz {
namespace {

// The widths in turn: they differ in the number of columns only.
TPType SomeZhiBiao(size_t size) {
  return static_cast<TPType>(TPTypeZhiBiao1 + static_cast<int>(size % 16));
}

}  // namespace

void RenderAll(const std::string& reply) {
  bool parses = true;
  try {
    parses = !TesparserPB2Json(reply).empty();
  } catch (const j2pb_error& error) {
    const std::string what = error.what();
    const std::string end = ": Fail to convert to json";
    FUZZ_CHECK(what.size() > end.size() && what.compare(what.size() - end.size(), end.size(), end) == 0);
  }

  void* table = TesparserPB2Table(reply);
  FUZZ_CHECK(parses || table == nullptr);
  WalkAndFree(table);

  void* by_id = TesparserPB2TableType(reply, TPTypeById);
  FUZZ_CHECK((by_id == nullptr) == (table == nullptr));
  WalkAndFree(by_id);

  for (const TPType type :
       {TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeToken, SomeZhiBiao(reply.size())}) {
    void* typed = TesparserPB2TableType(reply, type);
    FUZZ_CHECK(parses || typed == nullptr);
    WalkAndFree(typed);
  }
  for (const TPType type : {TPTypeBxzjBlock, static_cast<TPType>(117), static_cast<TPType>(-1)})
    FUZZ_CHECK(TesparserPB2TableType(reply, type) == nullptr);
}

}  // namespace fuzz

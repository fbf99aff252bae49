
#include <fmt/format.h>

#include <string>

#include "replies/definitions.h"
#include "replies/suggest.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/complain.h"

namespace tesview {

using replies::Definition;
using replies::DefinitionNames;
using replies::DidYouMean;

void Answer(const SchemaRequest& request, Output* output, ExitCode* code) {
  bool first = true;
  for (const std::string& name : request.names) {
    const auto definition = Definition(name, request.all);
    if (!definition) {
      output->Flush();
      const bool is_number = name.find_first_not_of("0123456789") == std::string::npos;
      std::string near = DidYouMean(name, DefinitionNames());
      if (near.empty()) near = "; tesview ids lists the payloads";
      Complain(fmt::format("no message or enumeration {} \"{}\"{}", is_number ? "has the Id" : "is called",
                           name, near));
      *code = kSomeNotShown;
      continue;
    }
    if (!first) output->Write("\n");
    output->Write(*definition);
    first = false;
  }
}

}  // namespace tesview

// What every call of the C face does with exceptions and reasons, also those that no call brings about today.
#include "capi/call.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using replies::Diagnosis;
using replies::Reason;

tesparser_error ErrorOf(const std::function<void()>& call) {
  tesparser_error error;
  const int result = capi::Guarded<int>(&error, 7, [&call] {
    call();
    return 3;
  });
  EXPECT_EQ(result, error.reason == TESPARSER_OK ? 3 : 7);
  return error;
}

TEST(Guarded, TellsEachExceptionByItsReason) {
  EXPECT_EQ(ErrorOf([] {}).reason, TESPARSER_OK);
  const tesparser_error memory = ErrorOf([] { throw std::bad_alloc(); });
  EXPECT_EQ(memory.reason, TESPARSER_OUT_OF_MEMORY);
  EXPECT_STREQ(memory.message, "out of memory");
  const tesparser_error length = ErrorOf([] { throw std::length_error("basic_string"); });
  EXPECT_EQ(length.reason, TESPARSER_OUT_OF_MEMORY);
  EXPECT_STREQ(length.message, "more than a program can hold in memory");
  const tesparser_error input = ErrorOf([] { throw replies::InputError("the disk is gone"); });
  EXPECT_EQ(input.reason, TESPARSER_CANNOT_READ);
  EXPECT_STREQ(input.message, "the disk is gone");
  const tesparser_error other = ErrorOf([] { throw std::runtime_error("a fault"); });
  EXPECT_EQ(other.reason, TESPARSER_INTERNAL);
  EXPECT_STREQ(other.message, "a fault");
}

TEST(Fail, TellsEachDiagnosisByItsReason) {
  const std::vector<std::pair<Reason, tesparser_reason>> reasons = {
      {Reason::kNone, TESPARSER_OK},
      {Reason::kNotAReply, TESPARSER_NOT_A_REPLY},
      {Reason::kFieldMissing, TESPARSER_FIELD_MISSING},
      {Reason::kNoTableForm, TESPARSER_NO_TABLE_FORM},
      {Reason::kNothingInIt, TESPARSER_NOTHING_IN_IT},
      {Reason::kNotExpressible, TESPARSER_NOT_EXPRESSIBLE},
      {Reason::kOutOfMemory, TESPARSER_OUT_OF_MEMORY}};
  for (const auto& [reason, told] : reasons) {
    tesparser_error error;
    capi::Fail(&error, Diagnosis{reason, 12, "A.B", "why"});
    EXPECT_EQ(error.reason, told);
    EXPECT_EQ(error.offset, 12U);
    EXPECT_STREQ(error.field, "A.B");
    EXPECT_STREQ(error.message, "why");
    capi::Fail(nullptr, Diagnosis{reason, 12, "A.B", "why"});
  }
}

TEST(Fail, TakesAReasonThatIsNoneForAFault) {
  tesparser_error error;
  capi::Fail(&error, Diagnosis{static_cast<Reason>(99), 0, "", "why"});
  EXPECT_EQ(error.reason, TESPARSER_INTERNAL);
}

// A text is cut at its end and a path at its beginning, neither inside a character.
TEST(Fail, CutsNoCharacterInTwo) {
  tesparser_error error;
  const size_t room = sizeof error.message - 1;
  const std::string fits(room, 'x');
  capi::Fail(&error, TESPARSER_MISFIT, fits);
  EXPECT_EQ(error.message, fits);
  capi::Fail(&error, TESPARSER_MISFIT, fits + "x");
  EXPECT_EQ(error.message, fits.substr(3) + "...");
  // U+4E2D takes three bytes, the last of which would be the first that is cut.
  const std::string chinese = std::string(room - 5, 'x') + "\xE4\xB8\xAD" + "yyyy";
  capi::Fail(&error, TESPARSER_MISFIT, chinese);
  EXPECT_EQ(error.message, std::string(room - 5, 'x') + "...");
  // Of what is inside characters from its beginning on, nothing can be told.
  capi::Fail(&error, TESPARSER_MISFIT, std::string(room + 1, '\x80'));
  EXPECT_STREQ(error.message, "...");
}

TEST(Fail, CutsThePathThatIsOneLetterTooLong) {
  tesparser_error error;
  const size_t room = sizeof error.field - 1;
  const std::string fits = "A." + std::string(room - 2, 'x');
  capi::Fail(&error, Diagnosis{Reason::kFieldMissing, 0, fits, "why"});
  EXPECT_EQ(error.field, fits);
  capi::Fail(&error, Diagnosis{Reason::kFieldMissing, 0, "A" + fits, "why"});
  EXPECT_EQ(error.field, "..." + fits.substr(2).substr(0, room - 3));
}

}  // namespace

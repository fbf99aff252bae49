#include "replies/text_form.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/replies/samples.h"

namespace replies {
namespace {

TEST(TextForm, ToBytesAndBack) {
  std::string bytes;
  std::string error;
  ASSERT_TRUE(TextToBytes("# two fields\nId: 20 Obj: 'AB'", false, &bytes, &error)) << error;
  EXPECT_EQ(bytes, kReplyBytes);
  std::string text;
  ASSERT_TRUE(BytesToText(kReplyBytes, &text, &error)) << error;
  EXPECT_EQ(text, "Id: 20\nObj: \"AB\"\n");
}

TEST(TextForm, SaysLineAndColumnOfTheFirstError) {
  std::string bytes;
  std::string error;
  EXPECT_FALSE(TextToBytes("Id: 20\nObjx: 'AB'\nObjy: 1", false, &bytes, &error));
  EXPECT_EQ(error, "line 2, column 5: Message type \"tessel.MSG\" has no field named \"Objx\"");
}

TEST(TextForm, MayLackWhatIsRequiredOnlyIfAsked) {
  std::string bytes;
  std::string error;
  EXPECT_FALSE(TextToBytes("Obj: 'AB'", false, &bytes, &error));
  EXPECT_EQ(error, "required field \"Id\" is missing");
  EXPECT_TRUE(TextToBytes("Obj: 'AB'", true, &bytes, &error));
  EXPECT_EQ(bytes,
            "\x12\x02"
            "AB");
}

TEST(TextForm, OfBytesThatAreNoReplyIsNone) {
  std::string text;
  std::string error;
  EXPECT_FALSE(BytesToText(kReplyBytes.substr(0, 5), &text, &error));
  EXPECT_EQ(error, "not a reply: the bytes end inside the field that begins at offset 2 (5 bytes read)");
}

}  // namespace
}  // namespace replies

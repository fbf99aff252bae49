#include "replies/schema.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <set>
#include <vector>

namespace replies {
namespace {

namespace pb = google::protobuf;

// The types of all messages that can be in one of the type.
void Collect(const pb::Descriptor* type, std::set<const pb::Descriptor*>* found) {
  if (!found->insert(type).second) return;
  for (int i = 0; i < type->field_count(); ++i) {
    if (type->field(i)->message_type() != nullptr) Collect(type->field(i)->message_type(), found);
  }
}

#ifdef __GLIBC__
// In a process of its own, in which nothing has been read before.
void ExitByWhatReplyTypesTake() {
  const auto reply = Schema::Get().NewReply();
  std::set<const pb::Descriptor*> types;
  Collect(reply->GetDescriptor(), &types);
  pb::MessageFactory* factory = reply->GetReflection()->GetMessageFactory();
  const size_t before = mallinfo2().uordblks;
  for (const pb::Descriptor* type : types)
    factory->GetPrototype(type);
  std::exit(types.size() > 400 && mallinfo2().uordblks == before ? 0 : 1);
}

TEST(Schema, MakesAllOfAReplyAtItsFirstUse) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(ExitByWhatReplyTypesTake(), testing::ExitedWithCode(0), "");
}
#endif

TEST(Schema, FindsTypesByTheirNames) {
  ASSERT_NE(Schema::Get().Type("MSG"), nullptr);
  EXPECT_EQ(Schema::Get().Type("MSG")->full_name(), "tessel.MSG");
  EXPECT_EQ(Schema::Get().Type("tessel.MSG"), nullptr);
  EXPECT_EQ(Schema::Get().Type("EnumID"), nullptr);
  ASSERT_NE(Schema::Get().Enum("EnumID"), nullptr);
  EXPECT_EQ(Schema::Get().Enum("EnumID")->full_name(), "tessel.EnumID");
  EXPECT_EQ(Schema::Get().Enum("MSG"), nullptr);
}

TEST(Schema, GivesEmptyRepliesThatTakeAnId) {
  const auto reply = Schema::Get().NewReply();
  EXPECT_EQ(reply->ByteSizeLong(), 0U);
  SetId(reply.get(), 22);
  EXPECT_EQ(IdOf(*reply), 22);
  EXPECT_EQ(reply->SerializePartialAsString(), "\x08\x16");
}

}  // namespace
}  // namespace replies

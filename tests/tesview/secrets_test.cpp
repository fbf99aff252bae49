// --redact, and what a terminal gets.
#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <set>
#include <string>

#include "replies/columns.h"
#include "replies/redact.h"
#include "replies/schema.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Files;
using viewer::Framed;
using viewer::InTerminal;
using viewer::Reply;
using viewer::Strings;
using viewer::View;
using viewer::ViewBytes;
using viewer::Wire;

std::string TokenReply() {
  return Reply("Id: 44 RepDataToken { Result: 0 Token: 'hunter2' Uid: 'alice' Device: 'phone' }");
}

size_t Occurrences(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
    ++count;
  return count;
}

// Each form twice, as it is and redacted.
void ExpectSecretsTakenOut(const std::string& stream, size_t secrets, size_t names, const std::string& to) {
  const Result plain = ViewBytes(stream, {"--from", "delimited", "--to", to});
  EXPECT_EQ(plain.code, 0) << to << plain.err;
  EXPECT_EQ(Occurrences(plain.out, "hunter2"), secrets) << to;
  EXPECT_EQ(Occurrences(plain.out, "alice"), names) << to;
  const Result redacted = ViewBytes(stream, {"--from", "delimited", "--to", to, "--redact"});
  EXPECT_EQ(redacted.code, 0) << redacted.err;
  EXPECT_EQ(Occurrences(redacted.out, "hunter2"), 0U) << to;
  EXPECT_EQ(Occurrences(redacted.out, "alice"), 0U) << to;
  EXPECT_EQ(Occurrences(redacted.out, "***"), secrets + names) << to;
}

TEST(Redact, TakesSecretsOutOfEveryForm) {
  const std::string password = Reply(
      "Id: 303 RepDataPcZiXuanGuShuJu { CaoZuoJieGuo: 0 YongHuXinXi { YongHuMingCheng: 'alice' YongHuMiMa: "
      "'hunter2' } }");
  const std::string without_table = Reply("Id: 290 RepDataUserToken { Uid: 'alice' Token: 'hunter2' }");
  const std::string wire = Wire(
      "Info { Name: 'Token' Type: 115 } Info { Name: 'X' Type: 115 } Data { Index: 0 sValues: 'hunter2' } "
      "Data { Index: 1 sValues: 'seen' }");
  const std::string all = Framed(TokenReply()) + Framed(password) + Framed(without_table) + Framed(wire);
  for (const std::string to : {"table", "json", "pretty", "ndjson", "text", "bin"})
    ExpectSecretsTakenOut(all, 4, 3, to);
  // One Id in a file each; a payload without a table has none of these.
  for (const std::string to : {"csv", "tsv", "arrow"}) {
    ExpectSecretsTakenOut(Framed(TokenReply()), 1, 1, to);
    ExpectSecretsTakenOut(Framed(password), 1, 1, to);
    ExpectSecretsTakenOut(Framed(wire), 1, 0, to);
  }
  EXPECT_EQ(ViewBytes(TokenReply(), {"--to", "csv", "--redact"}).out,
            "Result,Token,Uid,Device\n0,***,***,phone\n");
  EXPECT_EQ(ViewBytes(wire, {"--to", "csv", "--redact"}).out, "Token,X\n***,seen\n");
  EXPECT_EQ(ViewBytes(without_table, {"--to", "csv", "--decode", "--redact"}).out.substr(0, 8), "Uid,Toke");
}

std::string InLowerCase(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

TEST(SecretNames, AreThoseOfDescribedColumns) {
  int columns = 0;
  for (const auto& table : replies::DescribedTables()) {
    for (const auto& column : table.columns) {
      if (!column.Is("secret")) continue;
      EXPECT_TRUE(replies::IsSecretName(column.name)) << column.name;
      ++columns;
    }
  }
  EXPECT_GE(columns, 7);
  EXPECT_FALSE(replies::IsSecretName("Obj"));
  EXPECT_TRUE(replies::IsSecretName("ACCESSTOKEN"));
}

// Whoever adds a field of such a name decides what it is.
TEST(SecretNames, OfTheSchemaAreAllDecided) {
  const std::set<std::string> harmless{"accounttype",     "accountstatus",    "accounttags", "accountlevel",
                                       "owneraccountimg", "owneraccounttype", "bsecretary"};
  int secret = 0;
  const std::function<void(const google::protobuf::Descriptor*)> look =
      [&](const google::protobuf::Descriptor* type) {
        for (int i = 0; i < type->nested_type_count(); ++i)
          look(type->nested_type(i));
        for (int i = 0; i < type->field_count(); ++i) {
          const auto* field = type->field(i);
          const std::string name = InLowerCase(field->name());
          if (field->message_type() != nullptr || harmless.count(name) != 0) continue;
          bool speaks = name == "uid" || name == "userid" || name == "openid";
          for (const char* word : {"token", "account", "passw", "secret", "mima"})
            speaks = speaks || name.find(word) != std::string::npos;
          if (!speaks) continue;
          EXPECT_TRUE(replies::IsSecretName(field->name())) << field->full_name();
          ++secret;
        }
      };
  for (const auto* file : replies::Schema::Get().Files()) {
    for (int i = 0; i < file->message_type_count(); ++i)
      look(file->message_type(i));
  }
  EXPECT_GT(secret, 50);
}

TEST(Redact, NumbersBecomeNothing) {
  std::string bytes = Reply("Id: 22 Obj: 'Uid'");
  const std::string before = bytes;
  EXPECT_TRUE(replies::Redact(&bytes));
  EXPECT_EQ(bytes, before);
  bytes = Wire(
      "Info { Name: 'Uid' Type: 105 } Info { Name: 'N' Type: 105 } Data { Index: 0 iValues: 77 } "
      "Data { Index: 1 iValues: 77 }");
  EXPECT_TRUE(replies::Redact(&bytes));
  EXPECT_EQ(ViewBytes(bytes, {"--to", "csv"}).out.substr(0, 8), "Uid,N\n0,");
  // Cut in the middle of a secret it is no reply.
  bytes = TokenReply().substr(0, 12);
  EXPECT_FALSE(replies::Redact(&bytes));
  EXPECT_EQ(ViewBytes(bytes, {"--from", "raw", "--to", "bin", "--redact"}).code, 1);
}

TEST(Redact, SaysTheSameWhateverTheLength) {
  const std::string other = Reply("Id: 44 RepDataToken { Result: 0 Token: '' Uid: 'b' Device: 'phone' }");
  for (const std::string to : {"table", "json", "text", "csv", "bin"}) {
    EXPECT_EQ(ViewBytes(TokenReply(), {"--to", to, "--redact"}).out,
              ViewBytes(other, {"--to", to, "--redact"}).out)
        << to;
  }
}

TEST_F(Files, ATerminalGetsNoSecretsUnlessAsked) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string path = Write("a.bin", TokenReply());
  for (const std::string to : {"table", "json", "csv"}) {
    EXPECT_EQ(View({"--to", to, path}, InTerminal(200)).out.find("hunter2"), std::string::npos) << to;
    EXPECT_NE(View({"--to", to, "--no-redact", path}, InTerminal(200)).out.find("hunter2"),
              std::string::npos);
    EXPECT_NE(View({"--to", to, path}).out.find("hunter2"), std::string::npos);
  }
  EXPECT_EQ(View({"--redact", "--no-redact", path}).code, 2);
}

// A form of field that only the parser knows hides nothing.
TEST(Redact, AGroupInFrontHidesNothing) {
  // Field 1000 as a group: begin 0x1F43 (wire type 3), end (type 4), as varints.
  const std::string reply = std::string("\x08\x2C") + "\xC3\x3E\xC4\x3E" + TokenReply().substr(2);
  const Result plain = ViewBytes(Framed(reply), {"--from", "delimited", "--to", "json"});
  const Result redacted = ViewBytes(Framed(reply), {"--from", "delimited", "--to", "json", "--redact"});
  EXPECT_NE(plain.out.find("hunter2"), std::string::npos) << plain.err;
  EXPECT_EQ(redacted.out.find("hunter2"), std::string::npos);
  EXPECT_NE(redacted.out.find("***"), std::string::npos);
}

// Escape, DEL, U+009B, U+202E and U+2066.
std::string HostileReply() {
  const std::string hostile = "a\\033[31m\\177\\302\\233\\342\\200\\256\\342\\201\\246z";
  return Reply("Id: 21 RepDataQuoteKlineSingle { Obj: '" + hostile + "' }");
}

class FormInATerminal : public Files, public testing::WithParamInterface<const char*> {};

TEST_P(FormInATerminal, DoesNotSteerIt) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string path = Write("a.bin", HostileReply());
  const Result seen = View({"--to", GetParam(), "--color", "never", path}, InTerminal(200));
  EXPECT_EQ(seen.code, 0) << seen.err;
  EXPECT_NE(seen.out, "");
  for (const std::string bad : {"\x1b", "\x7f", "\xC2\x9B", "\xE2\x80\xAE", "\xE2\x81\xA6"})
    EXPECT_EQ(seen.out.find(bad), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Each, FormInATerminal,
                         testing::Values("table", "json", "pretty", "ndjson", "csv", "tsv", "text",
                                         "summary"),
                         [](const auto& form) { return std::string(form.param); });

TEST_F(Files, ATerminalIsToldWhatWouldSteerIt) {
  if (const std::string why = program::WhyNoTerminal(); !why.empty()) GTEST_SKIP() << why;
  const std::string raw = "a\x1b[31m\x7f\xC2\x9B\xE2\x80\xAE\xE2\x81\xA6z";
  const std::string path = Write("a.bin", HostileReply());
  // In a pipe all is exact.
  EXPECT_NE(View({"--to", "csv", path}).out.find(raw), std::string::npos);
  const std::string json = View({"--to", "json", path}, InTerminal(200)).out;
  EXPECT_NE(json.find("\\u001B[31m\\u007f\\u009b\\u202e\\u2066z"), std::string::npos) << json;
  // Beyond 16 bits, U+E0001: two halves of ten bits of 0xD0001.
  const std::string beyond = Write("b.bin", Reply("Id: 22 Obj: '\\363\\240\\200\\201'"));
  EXPECT_EQ(View({"--to", "json", beyond}, InTerminal(200)).out,
            "{\"Id\": 22, \"Obj\": \"\\udb40\\udc01\"}\r\n");
  // The text says the same still.
  std::string text;
  for (const char c : View({"--to", "text", path}, InTerminal(200)).out)
    text += c == '\r' ? std::string() : std::string(1, c);
  EXPECT_EQ(ViewBytes(text, {"--to", "json"}).out, View({"--to", "json", path}).out) << text;
}

}  // namespace

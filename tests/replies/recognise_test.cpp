#include "replies/recognise.h"

#include <gtest/gtest.h>

#include <string>

#include "replies/encodings.h"
#include "tests/replies/samples.h"

namespace replies {
namespace {

std::string Framed(const std::string& bytes) {
  return static_cast<char>(bytes.size()) + bytes;
}

// "kHex by line from 3", or "nothing yet".
std::string ToldForm(const std::string& bytes, Extent extent, Form asked = Form::kAuto) {
  static const Strings kNames{"auto",  "raw",  "delimited", "hex",      "base64",
                              "lines", "text", "fixed32be", "fixed32le"};
  const auto format = Recognise(bytes, extent, asked);
  if (!format) return "nothing yet";
  std::string text = kNames[static_cast<size_t>(format->form)];
  if (format->by_line) text += " by line";
  if (format->column != 0) text += " from " + std::to_string(format->column);
  return format->certain ? text : text + "?";
}

TEST(Recognise, TheFormsOfWholeSources) {
  const std::string hex = kReplyHex;
  EXPECT_EQ(ToldForm(kReplyBytes, Extent::kWhole), "raw");
  EXPECT_EQ(ToldForm(Framed(kReplyBytes), Extent::kWhole), "delimited");
  EXPECT_EQ(ToldForm(hex, Extent::kWhole), "lines by line");
  EXPECT_EQ(ToldForm("0816\n1204\n41424344\n", Extent::kWhole), "hex");
  EXPECT_EQ(ToldForm("> 0816\n> 1204\n> 41424344\n", Extent::kWhole), "hex from 2");
  EXPECT_EQ(ToldForm("> CBYSBE\n> FCQ0Q=\n", Extent::kWhole), "base64 from 2");
  EXPECT_EQ(ToldForm("> CBYSB\n> EFCQ0Q=\n", Extent::kWhole), "base64 from 2");
  EXPECT_EQ(ToldForm("Id: 20", Extent::kWhole), "text");
  EXPECT_EQ(ToldForm("# a remark\n  # another\nId: 20", Extent::kWhole), "text");
  for (const char* text : {"Obj: \"SH600000\"", "Tbl { }", "JsonTbl: '[]'", "ObjCount: 3", "RepData_20 { }"})
    EXPECT_EQ(ToldForm(text, Extent::kWhole), "text") << text;
  EXPECT_EQ(ToldForm("ffff00", Extent::kWhole), "hex");
}

TEST(Recognise, WhatFitsNoFormIsUncertain) {
  EXPECT_EQ(ToldForm("", Extent::kWhole), "raw?");
  EXPECT_EQ(ToldForm("hello", Extent::kWhole), "text?");
  EXPECT_EQ(ToldForm("an_Id: 20", Extent::kWhole), "text?");
  EXPECT_EQ(ToldForm(std::string(100, '\xFF'), Extent::kWhole), "raw?");
  EXPECT_EQ(ToldForm(std::string(100, '\xFF'), Extent::kBlock), "raw?");
}

// What leads to its value or its message.
TEST(Recognise, TextFormHasAMarkBehindTheNameOfItsField) {
  for (const char* name : {"Id", "Obj", "Tbl", "JsonTbl", "ObjCount", "RepData", "RepDataStkData"}) {
    const std::string field = name;
    for (const char* behind : {":", "{", " :", " {", ": 1", "{ }", " \n: 1"})
      EXPECT_EQ(ToldForm(field + behind, Extent::kWhole), "text") << field + behind;
    for (const char* behind : {"", " ", "=", "= 1", " 1", " is", ";", "-z:", "|", "[", "}"})
      EXPECT_EQ(ToldForm(field + behind, Extent::kWhole), "text?") << field + behind;
  }
  for (const char* text : {"? :", "{ }", "Ids: 1", "id: 1", "RepDat: 1", "aRepData: 1"})
    EXPECT_EQ(ToldForm(text, Extent::kWhole), "text?") << text;
  // A remark in front of nothing, of blanks, of a word, and one that does not end.
  for (const char* text : {"# !", "# !\n", "# !\n \n", "# !\n#", "# !\n?"})
    EXPECT_NE(ToldForm(text, Extent::kWhole), "text") << text;
}

TEST(Recognise, TextHasNoControlCharactersButBlanks) {
  for (const char* text : {"some\tthing", "some\nthing", "some\r\nthing", "some ~thing", "hello # world"})
    EXPECT_EQ(ToldForm(text, Extent::kWhole), "text?") << text;
  for (const char* bytes : {"some\1thing", "some\x1Fthing", "some\x7Fthing", "some\vthing", "some\bthing"})
    EXPECT_EQ(ToldForm(bytes, Extent::kWhole), "raw?") << bytes;
  // Remarks alone are hexadecimal without a digit.
  for (const char* text : {"# a remark", "#\n#", "#"})
    EXPECT_EQ(ToldForm(text, Extent::kWhole), "hex") << text;
  // More than half of it must be ASCII.
  EXPECT_EQ(ToldForm("ab\xE4\xB8", Extent::kWhole), "raw?");
  EXPECT_EQ(ToldForm("abc\xE4\xB8", Extent::kWhole), "text?");
}

TEST(Recognise, ABlockMayEndInsideAReply) {
  EXPECT_EQ(ToldForm(kReplyBytes.substr(0, 5), Extent::kWhole), "raw?");
  EXPECT_EQ(ToldForm(kReplyBytes.substr(0, 5), Extent::kBlock), "raw");
  EXPECT_EQ(ToldForm(Framed(kReplyBytes).substr(0, 5), Extent::kBlock), "delimited");
  EXPECT_EQ(ToldForm("> 0816\n> 1204\n> 41", Extent::kBlock), "hex from 2");
}

// What the block cuts may be half a byte.
TEST(Recognise, ABlockMayEndInsideALineOfDigits) {
  for (const char* digits : {"0816\n1204\n4", "0816\n1204\n414", "0816\n12\n", "0816\n1204\n41424344\n0"})
    EXPECT_EQ(ToldForm(digits, Extent::kBlock), "hex") << digits;
}

// However the digits are written, and wherever the block ends in the only line that there is.
TEST(Recognise, ABlockMayEndInsideTheOnlyLineOfDigits) {
  // Id 20 and an Obj of 200 letters: C8 01.
  const std::string reply = "\x08\x14\x12\xC8\x01" + std::string(200, 'A');
  const std::string pairs = EncodeHex(reply);
  for (const char* before : {"", " ", "0x", "\\x", ", 0x", " - ", "\\n"}) {
    std::string text;
    for (size_t i = 0; i < pairs.size(); i += 2)
      text += before + pairs.substr(i, 2);
    // Nearly all of it, but less than the last byte.
    for (size_t size = text.size() - 40; size <= text.size() - 8; ++size)
      EXPECT_EQ(ToldForm(text.substr(0, size), Extent::kBlock), "hex") << before << ' ' << size;
  }
  // Where nothing is cut, a digit alone is one too many, and more than a byte is no end of one.
  const std::string part = pairs.substr(0, pairs.size() - 9);
  EXPECT_EQ(ToldForm(part, Extent::kBlock), "hex");
  EXPECT_EQ(ToldForm(part, Extent::kWhole), "text?");
  EXPECT_EQ(ToldForm(part + "0???", Extent::kBlock), "hex");
  EXPECT_EQ(ToldForm(part + "0????", Extent::kBlock), "text?");
  const std::string digits = EncodeBase64(reply);
  for (const size_t width : {size_t{4}, size_t{20}, size_t{76}, size_t{1000}}) {
    for (const char* between : {" ", "\\n", "\\r\\n"}) {
      std::string text;
      for (size_t i = 0; i < digits.size(); i += width)
        text += (i == 0 ? "" : between) + digits.substr(i, width);
      for (size_t size = text.size() - 40; size <= text.size() - 8; ++size)
        EXPECT_EQ(ToldForm(text.substr(0, size), Extent::kBlock), "base64") << width << ' ' << size;
    }
  }
}

// A length that no reply has is none.
TEST(Recognise, NoLengthIsBeyondWhatAReplyMayHave) {
  EXPECT_EQ(ToldForm("\xFF\xFF\xFF\xFF\x0F" + kReplyBytes, Extent::kBlock), "raw?");
  EXPECT_EQ(ToldForm("\xFF\xFF\xFF\xFF\x07" + kReplyBytes, Extent::kBlock), "delimited");
  EXPECT_EQ(ToldForm("\x80\x80\x80\x80\x08" + kReplyBytes, Extent::kBlock), "raw?");
  // 2^31 - 1 bytes behind the first one, and one more.
  const std::string first = std::string("\0\0\0\6", 4) + kReplyBytes;
  EXPECT_EQ(ToldForm(first + "\x7F\xFF\xFF\xFF" + kReplyBytes, Extent::kBlock), "fixed32be");
  EXPECT_EQ(ToldForm(first + std::string("\x80\0\0\0", 4) + kReplyBytes, Extent::kBlock), "raw?");
}

// Four bytes of a length may be read from both sides; the shorter one is meant, as few replies are long.
TEST(Recognise, ABlockMayEndInsideAReplyBehindFourBytes) {
  // Id 20 and the head of a payload of 200 bytes, of which there are 40.
  const std::string payload = "\x08\x14\xA2\x01\xC8\x01" + std::string(40, 'x');
  const std::string text = "\x08\x14\x12\xC8\x01" + std::string(40, 'x');
  const std::string big("\0\0\1\0", 4);
  const std::string little("\0\1\0\0", 4);
  EXPECT_EQ(ToldForm(big + payload, Extent::kBlock), "fixed32be");
  EXPECT_EQ(ToldForm(little + payload, Extent::kBlock), "fixed32le");
  // A text alone may be anything, and what is whole is not cut.
  EXPECT_EQ(ToldForm(big + text, Extent::kBlock), "raw?");
  EXPECT_EQ(ToldForm(big + payload, Extent::kWhole), "raw?");
}

// Of the frame behind the first one a part is enough in a block, but not at the end.
TEST(Recognise, ABlockMayEndInsideTheSecondReplyBehindFourBytes) {
  const std::string size("\0\0\0\6", 4);
  const std::string frames = size + kReplyBytes + size + kReplyBytes;
  for (size_t cut = 1; cut < kReplyBytes.size() + 4; ++cut) {
    const std::string some = frames.substr(0, frames.size() - cut);
    EXPECT_EQ(ToldForm(some, Extent::kBlock), "fixed32be") << cut;
  }
  EXPECT_EQ(ToldForm(frames, Extent::kWhole), "fixed32be");
}

// Lines of digits alone may be parts of one reply, so that only the first ones are tried one by one.
TEST(Recognise, FewLinesOfDigitsAreLookedAtOneByOne) {
  const std::string none = "12345678\n";
  std::string lines;
  for (int i = 0; i < 7; ++i)
    lines += none;
  EXPECT_EQ(ToldForm(lines + kReplyHex + "\n", Extent::kWhole), "lines by line");
  EXPECT_EQ(ToldForm(lines + none + kReplyHex + "\n", Extent::kWhole), "hex");
  EXPECT_EQ(ToldForm(lines + none + "10:00 got " + kReplyHex + "\n", Extent::kWhole), "lines by line");
}

// The digits are the last of sixteen words, or behind them.
TEST(Recognise, DigitsBeginWithOneOfTheFirstWords) {
  const auto lines = [](int words) {
    std::string text;
    for (const char* digits : {"0816", "1204", "41424344"}) {
      for (int i = 0; i < words; ++i)
        text += "z ";
      text += std::string(digits) + "\n";
    }
    return text;
  };
  EXPECT_EQ(ToldForm(lines(15), Extent::kWhole), "hex from 30");
  EXPECT_EQ(ToldForm(lines(16), Extent::kWhole), "text?");
}

TEST(Recognise, TheFormThatWasAskedForIsNotDoubted) {
  EXPECT_EQ(ToldForm("hello", Extent::kWhole, Form::kRaw), "raw");
  EXPECT_EQ(ToldForm("hello", Extent::kWhole, Form::kDelimited), "delimited");
  EXPECT_EQ(ToldForm("\xFF", Extent::kWhole, Form::kText), "text");
  EXPECT_EQ(ToldForm("hello", Extent::kWhole, Form::kLines), "lines by line");
  EXPECT_EQ(ToldForm("hello", Extent::kWhole, Form::kHex), "hex");
  EXPECT_EQ(ToldForm("got 081412024142", Extent::kWhole, Form::kHex), "hex by line");
  EXPECT_EQ(ToldForm("got 081412024142", Extent::kWhole, Form::kBase64), "base64");
}

TEST(Recognise, WhereASourcePausesOnlyWhatIsWholeCounts) {
  const std::string line = "10:00 got " + std::string(kReplyHex);
  EXPECT_EQ(ToldForm("", Extent::kSoFar), "nothing yet");
  EXPECT_EQ(ToldForm(Framed(kReplyBytes), Extent::kSoFar), "delimited");
  EXPECT_EQ(ToldForm(Framed(kReplyBytes) + "\x06\x08", Extent::kSoFar), "delimited");
  EXPECT_EQ(ToldForm(Framed(kReplyBytes).substr(0, 6), Extent::kSoFar), "nothing yet");
  EXPECT_EQ(ToldForm(line + "\n", Extent::kSoFar), "lines by line");
  EXPECT_EQ(ToldForm("10:00 begin\n" + line + "\n10:0", Extent::kSoFar), "lines by line");
  EXPECT_EQ(ToldForm(line, Extent::kSoFar), "nothing yet");
  EXPECT_EQ(ToldForm(line + "\n", Extent::kSoFar, Form::kHex), "hex by line");
  EXPECT_EQ(ToldForm(line + "\n", Extent::kSoFar, Form::kBase64), "nothing yet");
  // All of these are shown as one, when the source has ended.
  for (const std::string& text :
       {std::string("> 0816\n> 1204\n> 4142\n"), std::string("Id: 20\n"), kReplyBytes})
    EXPECT_EQ(ToldForm(text, Extent::kSoFar), "nothing yet") << text;
}

// A reply of eight bytes behind its length begins like a raw one with the Id 8, until the bytes say
// otherwise.
TEST(Recognise, ALengthMayLookLikeAnId) {
  const std::string reply(
      "\x08\x14\x12\x04"
      "ABCD");
  EXPECT_EQ(ToldForm(Framed(reply), Extent::kSoFar), "delimited");
  EXPECT_EQ(ToldForm(Framed(reply), Extent::kWhole), "delimited");
}

}  // namespace
}  // namespace replies

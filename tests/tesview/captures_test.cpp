// Captures as they are kept: compressed, with lengths of four bytes, damaged.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/packed.h"
#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using replies::Packed;
using replies::Packing;
using viewer::Files;
using viewer::Framed;
using viewer::LinesOf;
using viewer::Reply;
using viewer::Sample;
using viewer::Slurp;
using viewer::View;
using viewer::ViewBytes;

class Captures : public Files {};

TEST_F(Captures, OfEachPackingShowWhatIsInThem) {
  const std::string sample = Slurp(Sample("21-QuoteKlineSingle"));
  const std::string stream = Framed(sample) + Framed(sample);
  const std::string plain = ViewBytes(stream, {"--to", "ndjson"}).out;
  ASSERT_NE(plain, "");
  for (const Packing packing : replies::kPackings) {
    const std::string packed = Packed(packing, stream);
    const Result piped = ViewBytes(packed, {"--to", "ndjson"});
    EXPECT_EQ(piped.out, plain) << NameOf(packing);
    EXPECT_EQ(piped.err, "");
    // Whatever the file is called.
    EXPECT_EQ(View({"--to", "ndjson", Write("capture.bin", packed)}).out, plain) << NameOf(packing);
  }
}

TEST_F(Captures, ThatWereCutOffShowWhatWasWholeAndSayWhere) {
  const std::string packed = Packed(Packing::kGzip, Framed(Reply("Id: 22")) + Framed(Reply("Id: 23")));
  const std::string path = Write("capture.gz", packed.substr(0, packed.size() - 4));
  const Result result = View({"--json", path});
  EXPECT_EQ(result.out, "{\"Id\": 22}\n{\"Id\": 23}\n");
  EXPECT_EQ(result.err, "tesview: " + path + ": the gzip data are damaged at offset " +
                            std::to_string(packed.size() - 4) +
                            ", behind 6 unpacked bytes: the source ends inside them\n");
  EXPECT_EQ(result.code, 3);
}

TEST_F(Captures, AreReadOnBehindDamageUnlessToldOtherwise) {
  const std::string good = Framed(Reply("Id: 22"));
  const std::string path = Write("capture.bin", good + good + std::string(512, '\xFF') + good + good);
  const Result result = View({"--json", path});
  EXPECT_EQ(LinesOf(result.out).size(), 4u);
  EXPECT_EQ(result.err,
            "tesview: " + path +
                ": reply 3 at offset 6: its length is no varint; the stream is damaged here; 512 bytes "
                "skipped, up to offset 518\n");
  EXPECT_EQ(result.code, 1);
  const Result stopped = View({"--json", "--no-resync", path});
  EXPECT_EQ(LinesOf(stopped.out).size(), 2u);
  EXPECT_EQ(stopped.err, "tesview: " + path +
                             ": reply 3 at offset 6: its length is no varint; the stream is damaged here\n");
  EXPECT_EQ(stopped.code, 1);
  EXPECT_EQ(LinesOf(View({"--json", "--strict", path}).out).size(), 2u);
  const Result asked = View({"--json", "--resync", path});
  EXPECT_EQ(asked.out, result.out);
  EXPECT_EQ(asked.err, result.err);
  EXPECT_EQ(View({"--json", "--resync", "--no-resync", path}).code, 2);
}

TEST_F(Captures, WithLengthsOfFourBytesAreWrittenAndRead) {
  const std::string text = Write("reply.txtpb", "Id: 22");
  for (const std::string form : {"fixed32be", "fixed32le"}) {
    const std::string length = form == "fixed32be" ? std::string("\0\0\0\2", 4) : std::string("\2\0\0\0", 4);
    const std::string stream = View({"pack", "--to", form, text, text}).out;
    EXPECT_EQ(stream, length + "\x08\x16" + length + "\x08\x16");
    EXPECT_EQ(ViewBytes(stream, {"--json"}).out, "{\"Id\": 22}\n{\"Id\": 22}\n");
    EXPECT_EQ(ViewBytes(stream, {"--json", "--from", form}).out, "{\"Id\": 22}\n{\"Id\": 22}\n");
  }
}

}  // namespace

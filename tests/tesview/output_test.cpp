// Output that nobody takes: a full disk, a closed pipe.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

using program::Result;
using viewer::Files;
using viewer::LinesOf;
using viewer::Prices;
using viewer::Program;
using viewer::Shell;
using viewer::StreamOf;
using viewer::TwoKlines;

TEST(Output, AFullDiskIsAnError) {
  const Result result = program::Run({"sh", "-c", Program() + " ids >/dev/full; echo $?"});
  EXPECT_EQ(result.err, "tesview: cannot write the output: No space left on device\n");
  EXPECT_EQ(result.out, "3\n");
}

TEST_F(Files, ABrokenPipeIsSilent) {
  const std::string path = Write("a.stream", StreamOf(TwoKlines(), 20000));
  for (const std::string jobs : {"1", "2"}) {
    const Result result = program::Run(
        {"bash", "-c",
         Program() + " --to ndjson --jobs " + jobs + " '" + path + "' | head -n 1; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(LinesOf(result.out).size(), 2u);
    EXPECT_EQ(LinesOf(result.out).back(), "0");
    EXPECT_EQ(result.err, "");
  }
}

TEST(Output, AFullDiskIsSaidWhileRepliesAreShown) {
  for (const std::string jobs : {"1", "2"}) {
    const Result result = Shell("\"$0\" --jobs " + jobs + " >/dev/full; echo $?", Prices());
    EXPECT_EQ(result.err, "tesview: cannot write the output: No space left on device\n") << jobs;
    EXPECT_EQ(result.out, "3\n") << jobs;
  }
}

TEST(Output, AClosedPipeEndsACommandWithoutAWord) {
  // All definitions are more than a pipe holds.
  const Result result = Shell("{ \"$0\" schema --all MSG; echo $? >&2; } | head -c 7");
  EXPECT_EQ(result.out, "// MSG.");
  EXPECT_EQ(result.err, "0\n");
}

}  // namespace

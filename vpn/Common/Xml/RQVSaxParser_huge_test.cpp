// What takes gigabytes of memory: not for every run.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "vpn/Common/Xml/RQVSaxParser.h"

namespace halvo {
namespace {

// The length is handed on as a signed 32-bit number: a text of 2 GiB has a negative one, which libxml2
// refuses.
TEST(RQVSaxParserHugeTest, TextOfTwoGibibytesGetsNoContext) {
  const test::LogRecorder log;
  const std::string text(std::size_t{0x80000000}, 'x');
  EXPECT_RESULT(RQVSaxParser(nullptr).startParser(text, RQVSaxParser::kMemory), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_TRUE(log.hasReturnCode(kLogError, "xmlCreateMemoryParserCtxt", GLOBAL_ERROR_NULL_POINTER))
      << log.dump();
  EXPECT_EQ(log.records().size(), 1U) << log.dump();
}

}  // namespace
}  // namespace halvo

#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;

TEST(TOLMEngineTest, DefaultRunMakesABundleAndRemovesItsFolder) {
  LogRecorder log;
  writeFile("/opt/halvo/tessarmont/tolm/xml/config/a.xml",
            "<c><configure><title>Alpha</title></configure><file id=\"a\"><description>A log</description>"
            "<default>true</default><tolm><os opsys=\"linux\"><file_copy_action><action>"
            "<loc>/tmp/src/*.log</loc></action></file_copy_action><use_extern_action><action>"
            "<args>echo hello</args><stdout/></action></use_extern_action></os></tolm></file></c>");
  writeFile("/tmp/src/one.log", "one\n");
  writeFile("/tmp/src/TWO.LOG", "two\n");
  TOLMEngine engine("", "/tmp/out", "", false);
  EXPECT_RESULT(engine.run(), 0) << log.dump();
  EXPECT_EQ(engine.bundlePath(), "/tmp/out.zip");
  const RunResult listed = runProgram({"unzip", "-p", "/tmp/out.zip", "summary.txt"});
  EXPECT_NE(listed.out.find("TWO.LOG"), std::string::npos) << listed.out;
  EXPECT_EQ(listFolder("/tmp"), (std::vector<std::string>{"out.zip", "src"}));
}

}  // namespace
}  // namespace halvo

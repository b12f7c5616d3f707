// The fixture of whole runs, in a private root.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/Subprocess.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

namespace halvo::test {

inline constexpr char kConfigFolder[] = "/opt/halvo/tessarmont/tolm/xml/config/";
inline constexpr char kPlainTempFolder[] = "/tmp/TOLM_Temp_Bundle";

class TOLMEngineTest : public ::testing::Test {
 protected:
  TOLMEngineTest() {
    // Tests may share a process, and so a private root. Other things below /tmp aren't ours.
    for (const char* name : {"/opt/halvo", "/opt/commands", "/opt/out", "/tmp/src", "/tmp/out",
                             "/tmp/out.zip", "/tmp/summary.txt", "/tmp/taken", "/tmp/home"}) {
      std::filesystem::remove_all(name);
    }
    for (const std::string& name : leftovers()) {
      std::filesystem::remove_all("/tmp/" + name);
    }
    makeFolders("/tmp/src");
    writeFile("/tmp/src/one.log", "one\n");
    writeFile("/tmp/src/TWO.LOG", "two\n");
  }

  static void config(const std::string& name, const std::string& text) {
    writeFile(kConfigFolder + name, text);
  }
  static std::string logsItem(const std::string& id = "logs", const std::string& isDefault = "true") {
    return itemText(id, copyAction("/tmp/src/*.log"), isDefault);
  }

  ResultCode run(const std::string& request = "", const std::string& bundle = "/tmp/out.zip",
                 const std::string& password = "") {
    TOLMEngine engine(request, bundle, password, false);
    const ResultCode rc = engine.run();
    m_strBundle = engine.bundlePath();
    m_strFailure = engine.failureText();
    return rc;
  }
  // With a request and a bundle, which a clear run has no use for.
  ResultCode clear() { return TOLMEngine("ignored", "/tmp/out.zip", "", true).run(); }

  [[nodiscard]] std::vector<std::string> entries() const {
    std::vector<std::string> names;
    std::istringstream lines(runProgram({"bsdtar", "-tf", m_strBundle}).out);
    for (std::string line; std::getline(lines, line);) {
      names.push_back(line);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  [[nodiscard]] std::string summary() const {
    return runProgram({"unzip", "-p", m_strBundle, "summary.txt"}).out;
  }

  static std::vector<std::string> leftovers() {
    std::vector<std::string> names;
    for (const std::string& name : listFolder("/tmp")) {
      if (name.rfind("TOLM_Temp_Bundle", 0) == 0) {
        names.push_back(name);
      }
    }
    return names;
  }
  // The work folder's name, as a run's log tells it.
  void expectFailure(ResultCode rc, ResultCode expected, const std::string& text) {
    EXPECT_RESULT(rc, expected);
    EXPECT_EQ(m_strFailure, text);
    EXPECT_TRUE(m_Log.has(kLogError, text)) << m_Log.dump();
    EXPECT_THAT(m_Keeper.finished, ::testing::ElementsAre(expected));
    EXPECT_EQ(getProgressState().message, text);
    EXPECT_THAT(leftovers(), ::testing::IsEmpty());
    EXPECT_FALSE(exists("/tmp/out.zip"));
  }

  LogRecorder m_Log;
  ReportKeeper m_Keeper;
  std::string m_strBundle;
  std::string m_strFailure;
};

}  // namespace halvo::test

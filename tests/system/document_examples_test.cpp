// The examples of the documentation: every piece of XML in it is what it is said to be.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::HasSubstr;

struct Example {
  std::string place;  // "FILE:LINE"
  std::string text;
};

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

std::vector<Example> examplesOf(const std::string& name) {
  std::vector<Example> examples;
  std::istringstream lines(readFile(sourcePath("docs/" + name)));
  bool inside = false;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (line == "```xml") {
      inside = true;
      examples.push_back({name + ":" + std::to_string(number), ""});
    } else if (startsWith(line, "```")) {
      inside = false;
    } else if (inside) {
      examples.back().text += line + "\n";
    }
  }
  return examples;
}

// A piece of a document, as a whole one.
std::string completed(std::string text) {
  for (const char* kind : {"<file_copy_action", "<use_extern_action", "<get_file_to_copy_action"}) {
    if (startsWith(text, kind)) {
      text =
          "<file id=\"example\"><description>Example</description><default>true</default><tolm>"
          "<os opsys=\"linux\">" +
          text + "</os></tolm></file>";
      break;
    }
  }
  if (startsWith(text, "<file ")) {
    text = "<config><configure><title>Example</title></configure>" + text + "</config>";
  }
  return text;
}

std::vector<Example> allExamples() {
  std::vector<Example> all = examplesOf("instruction-documents.md");
  const std::vector<Example> more = examplesOf("authoring.md");
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

TEST(DocumentExamplesTest, EveryExamplePassesTheCheckFitsItsSchemaAndCanBeTried) {
  makeFolders("/opt/docs");
  int documents = 0;
  for (const Example& example : allExamples()) {
    SCOPED_TRACE(example.place);
    const std::string text = completed(example.text);
    writeFile("/opt/docs/example.xml", text);
    const bool isRequest = startsWith(text, "<request");
    const RunResult checked = runProgram({builtProgram("tmtolm"), "check", "/opt/docs/example.xml"});
    EXPECT_EQ(checked.exitStatus, 0) << checked.out;
    const RunResult fits = runProgram(
        {"xmllint", "--noout", "--relaxng",
         sourcePath(std::string("docs/schema/tolm-") + (isRequest ? "request" : "document") + ".rng"),
         "/opt/docs/example.xml"});
    EXPECT_EQ(fits.exitStatus, 0) << fits.err;
    if (isRequest) {
      continue;
    }
    ++documents;
    const RunResult tried =
        runProgram({builtProgram("tmtolm"), "try", "/opt/docs/example.xml", "--bundle", "/opt/example.zip"});
    EXPECT_EQ(tried.exitStatus, 0) << tried.err;
    EXPECT_THAT(tried.out, HasSubstr("Bundle: /opt/example.zip\n"));
  }
  EXPECT_GE(documents, 6) << "the examples weren't found";
}

// Three texts named three folders for the logs of one client.
TEST(DocumentExamplesTest, TheClientsFolderInAHomeIsOneEverywhere) {
  std::vector<std::string> texts = {"README.md", "docs/instruction-documents.md", "docs/authoring.md",
                                    "packaging/man/tolm-document.5"};
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".xml") == 0) {
      texts.push_back("samples/" + name);
    }
  }
  const std::string folder = "/.halvo/";
  int seen = 0;
  for (const std::string& name : texts) {
    const std::string text = readFile(sourcePath(name));
    for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at + 1)) {
      ++seen;
      EXPECT_EQ(text.substr(at, folder.size() + 4), folder + "vpn/") << name;
    }
  }
  EXPECT_GE(seen, 6);
}

TEST(TryTest, ATrialGathersTheNamedItemAloneAndTellsWhatIsMissing) {
  makeFolders("/opt/docs");
  writeFile("/opt/logs/one.log", "one\n");
  const auto item = [](const std::string& id, const std::string& kinds) {
    return "<file id=\"" + id + "\"><description>D</description><tolm><os opsys=\"linux\">" + kinds +
           "</os></tolm></file>";
  };
  const auto command = [](const std::string& line) {
    return "<use_extern_action><action><args>" + line + "</args><stdout/></action></use_extern_action>";
  };
  writeFile("/opt/docs/a.xml", "<c><configure><title>T</title></configure>" +
                                   item("wanted",
                                        "<file_copy_action><action><loc>/opt/logs/*.log</loc></action>"
                                        "<action><loc>/opt/logs/none.txt</loc></action></file_copy_action>" +
                                            command("true") + command("none-such 2&gt;&amp;1")) +
                                   item("other", command("touch /opt/ran")) + "</c>");
  const RunResult result = runProgram(
      {builtProgram("tmtolm"), "try", "/opt/docs", "--item", "wanted", "--bundle", "/opt/trial.zip"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\nBundle: /opt/trial.zip\n"));
  EXPECT_THAT(result.out, HasSubstr("No file found with path matching:"));
  EXPECT_THAT(result.out, HasSubstr("T/true_result.txt: \"true\" printed nothing\n"));
  EXPECT_THAT(result.out, HasSubstr("T/none-such_result.txt: \"none-such 2>&1\" begins with "));
  EXPECT_TRUE(exists("/opt/trial.zip"));
  EXPECT_FALSE(exists("/opt/ran"));
  // Nothing of the trial is left behind.
  for (const std::string& name : listFolder("/tmp")) {
    EXPECT_FALSE(startsWith(name, "tmtolm-try")) << name;
  }
}

// A document that isn't well-formed was told by its copy's name in the bundle's summary alone.
TEST(TryTest, ADocumentThatCannotBeUsedIsToldByItsOwnPath) {
  writeFile("/opt/tried/good.xml", documentText("T", describedItem("a", "D", captureAction("uname"))));
  writeFile("/opt/tried/broken.xml", "<config><oops>");
  const RunResult result =
      runProgram({builtProgram("tmtolm"), "try", "/opt/tried", "--bundle", "/opt/tried.zip"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\nDocuments that can't be used (tmtolm check tells why):\n"
                                    "  \"/opt/tried/broken.xml\"\n"));
}

TEST(TryTest, WhatCannotBeTriedIsWrongUsage) {
  makeFolders("/opt/docs");
  writeFile("/opt/docs/a.xml", "<c><file id=\"a\"/></c>");
  writeFile("/opt/rules/r.xml", "<rules/>");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"try"},
                                             {"try", "/opt/none.xml"},
                                             {"try", "/opt/rules"},
                                             {"try", "/opt/docs/a.xml", "--item", "z"}}) {
    std::vector<std::string> line = arguments;
    line.insert(line.begin(), builtProgram("tmtolm"));
    const RunResult result = runProgram(line);
    EXPECT_EQ(result.exitStatus, 2) << ::testing::PrintToString(arguments);
    EXPECT_THAT(result.err, ::testing::StartsWith("tmtolm: "));
  }
}

TEST(NewTest, ANewDocumentAndANewRequestPassTheStrictCheck) {
  makeFolders("/opt/docs");
  const RunResult document = runProgram({builtProgram("tmtolm"), "new", "Printers"});
  EXPECT_EQ(document.exitStatus, 0);
  writeFile("/opt/docs/printers.xml", document.out);
  const RunResult request = runProgram({builtProgram("tmtolm"), "new", "--request", "/opt/docs"});
  EXPECT_EQ(request.exitStatus, 0);
  EXPECT_THAT(request.out,
              HasSubstr("<file id=\"example-command\"/> <!-- Output of a command, for example -->"));
  writeFile("/opt/request.xml", request.out);
  const RunResult checked =
      runProgram({builtProgram("tmtolm"), "check", "--strict", "/opt/docs", "/opt/request.xml"});
  EXPECT_EQ(checked.exitStatus, 0) << checked.out;
  EXPECT_EQ(runProgram({builtProgram("tmtolm"), "new"}).exitStatus, 2);
  EXPECT_EQ(runProgram({builtProgram("tmtolm"), "new", "a/b"}).exitStatus, 2);
}

}  // namespace
}  // namespace halvo

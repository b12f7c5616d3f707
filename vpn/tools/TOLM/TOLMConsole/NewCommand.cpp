#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/Skeleton.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

namespace {

class NewCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "new"; }
  [[nodiscard]] const char* description() const override {
    return "Print the beginning of an instruction document, or a request for all items of documents";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm new Printers"; }

  void addOptions(CLI::App& app) override {
    CLI::Option* const title =
        app.add_option("TITLE", m_strTitle, "The new document's title: its folder in a bundle")
            ->type_name("");
    app.add_option("--request", m_strFolder, "A request for the items of the documents in this folder")
        ->type_name("FOLDER")
        ->excludes(title);
  }

  [[nodiscard]] int run() override {
    if (m_strTitle.empty() == m_strFolder.empty()) {
      return usageFailure("new takes a title, or --request with a folder");
    }
    if (!m_strFolder.empty()) {
      return printRequest();
    }
    const std::string text = newDocument(m_strTitle);
    if (text.empty()) {
      return usageFailure(quotedText(m_strTitle) + " is no name of a folder in UTF-8, and so no title");
    }
    std::fputs(text.c_str(), stdout);
    return finishOutput(kExitSuccess);
  }

 private:
  int printRequest() const {
    std::vector<std::string> unreadable;
    const std::vector<RequestableItem> items = requestableItems(m_strFolder, unreadable);
    // What could be read is printed all the same. The exit status tells of the rest.
    for (const std::string& path : unreadable) {
      printError(quotedText(path) + " can't be read; \"tmtolm check\" tells why");
    }
    if (items.empty()) {
      printError("no document in " + quotedText(m_strFolder) + " has an item that a request can ask for");
      return kExitFailure;
    }
    std::fputs(newRequest(items).c_str(), stdout);
    return finishOutput(unreadable.empty() ? kExitSuccess : kExitFailure);
  }

  std::string m_strTitle;   // empty with a folder
  std::string m_strFolder;  // empty with a title
};

}  // namespace

std::unique_ptr<ICommand> makeNewCommand() {
  return std::make_unique<NewCommand>();
}

}  // namespace halvo

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/Ask.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

namespace {

class AskCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "ask"; }
  [[nodiscard]] const char* description() const override {
    return "Print a request for what a bundle lacks, or for the items given";
  }
  [[nodiscard]] const char* example() const override {
    return "tmtolm ask bundle.zip --missing --item client-logs";
  }

  void addOptions(CLI::App& app) override {
    m_Bundle.addPlace(app);
    app.add_flag("--missing", m_bMissing,
                 "Every item that the bundle lacks something of (the default without --item, without what "
                 "redaction left out)");
    app.add_option("--item", m_Items, "This item; may be given more than once")
        ->type_name("ID")
        ->allow_extra_args(false);
    m_Bundle.addOptions(app);
  }

  [[nodiscard]] int run() override {
    if (const int status = m_Bundle.load(); status != kExitSuccess) {
      return status;
    }
    const BundleContent& content = m_Bundle.content();
    const std::vector<UnreadPart> unread = content.unread();
    tellUnread(m_Bundle.path(), unread);
    std::vector<std::string> ids;
    if (m_bMissing || m_Items.empty()) {
      ids = missingItems(content, m_bMissing ? Redacted::kAskedFor : Redacted::kLeftAlone);
    }
    ids.insert(ids.end(), m_Items.begin(), m_Items.end());
    if (ids.empty()) {
      printError(nothingToAsk(content, unread));
      return kExitFailure;
    }
    std::erase_if(ids, [](const std::string& id) {
      const bool cannot = !canBeAskedFor(id);
      if (cannot) {
        printError("no document can have an item \"" + id + "\"; it is left out");
      }
      return cannot;
    });
    if (ids.empty()) {
      printError("no item is left to ask for");
      return kExitFailure;
    }
    printText(requestDocument(ids));
    return finishOutput(kExitSuccess);
  }

 private:
  static std::string nothingToAsk(const BundleContent& content, const std::vector<UnreadPart>& unread) {
    if (!unread.empty()) {
      return "what the bundle lacks isn't known; --item names an item";
    }
    return missingItems(content, Redacted::kAskedFor).empty()
               ? "the bundle lacks nothing to ask for; --item names an item"
               : "the bundle lacks only what redaction left out; --missing asks for that";
  }

  OneBundle m_Bundle;
  bool m_bMissing = false;
  std::vector<std::string> m_Items;
};

}  // namespace

std::unique_ptr<ICommand> makeAskCommand() {
  return std::make_unique<AskCommand>();
}

}  // namespace halvo

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

namespace {

// What a terminal may be shown of a file: line feeds and tabs work, other control characters are made
// visible. A character that two blocks share comes with the second of them.
class TerminalText {
 public:
  void print(const char* data, std::size_t size) {
    std::string clean;
    m_strPart.append(data, size);
    std::size_t start = 0;
    for (std::size_t i = 0; i < m_strPart.size(); ++i) {
      if (m_strPart[i] == '\n' || m_strPart[i] == '\t') {
        clean += withoutControls(m_strPart.substr(start, i - start)) + m_strPart[i];
        start = i + 1;
      }
    }
    m_strPart.erase(0, start);
    constexpr std::size_t kLongestPart = 65536;
    if (m_strPart.size() > kLongestPart) {
      const std::string whole = m_strPart.substr(0, m_strPart.size() - openCharacter());
      clean += withoutControls(whole);
      m_strPart.erase(0, whole.size());
    }
    printText(clean);
  }
  void finish() { printText(withoutControls(m_strPart)); }

 private:
  // How many bytes at the end begin a character of more.
  [[nodiscard]] std::size_t openCharacter() const {
    constexpr std::size_t kLongest = 4;
    for (std::size_t back = 1; back < kLongest && back <= m_strPart.size(); ++back) {
      const auto byte = static_cast<unsigned char>(m_strPart[m_strPart.size() - back]);
      if ((byte & 0xc0U) != 0x80) {
        const std::size_t length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : byte >= 0xc0 ? 2 : 1;
        return length > back ? back : 0;
      }
    }
    return 0;
  }

  std::string m_strPart;
};

class ShowCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "show"; }
  [[nodiscard]] const char* description() const override {
    return "Tell what a bundle holds and what it lacks";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm show bundle.zip client-logs"; }

  void addOptions(CLI::App& app) override {
    m_Bundle.addPlace(app);
    app.add_option("WHAT", m_strWhat, "The id of an item, to see its files, or a file, to see its text")
        ->type_name("");
    app.add_flag("--json", m_bJson, "Print JSON");
    m_Bundle.addOptions(app);
  }

  [[nodiscard]] int run() override {
    if (const int status = m_Bundle.load(); status != kExitSuccess) {
      return status;
    }
    return m_strWhat.empty() ? showAll(m_Bundle.content()) : showOne(m_Bundle.content());
  }

 private:
  [[nodiscard]] int showAll(const BundleContent& content) const {
    const std::vector<FailedOutput> failed = findFailedOutputs(content);
    if (m_bJson) {
      showJson(content, failed, printText);
    } else {
      printText(showText(content, failed));
    }
    return finishOutput(kExitSuccess);
  }

  [[nodiscard]] int showOne(const BundleContent& content) const {
    const std::string item = m_bJson ? "" : showItemText(content, m_strWhat);
    printText(item);
    if (!item.empty() || (m_bJson && showItemJson(content, m_strWhat, printText))) {
      return finishOutput(kExitSuccess);
    }
    std::size_t entry = content.findPlace(m_strWhat);
    if (const std::size_t file = content.findFile(m_strWhat); file < content.files().size()) {
      entry = content.files()[file].entry;
    }
    if (entry == content.reader().entries().size()) {
      printError(whyUnknown(content));
      return kExitFailure;
    }
    if (m_bJson) {
      return usageFailure("a file is shown as it is; --json is for an item or the whole bundle");
    }
    return showFile(content.reader(), entry);
  }

  // Files that are called so in several folders can be told apart.
  [[nodiscard]] std::string whyUnknown(const BundleContent& content) const {
    constexpr std::size_t kMostTold = 10;
    std::string names;
    std::size_t count = 0;
    for (const BundledFile& file : content.files()) {
      if (file.name == m_strWhat && ++count <= kMostTold) {
        names += (count == 1 ? " \"" : ", \"") + content.placeOf(file) + "\"";
      }
    }
    if (count == 0) {
      return "the bundle knows no item and no file \"" + m_strWhat + "\"; show without it lists both";
    }
    return "the bundle has " + std::to_string(count) + " files \"" + m_strWhat +
           "\", to be named with their folder:" + names + (count > kMostTold ? ", ..." : "");
  }

  [[nodiscard]] static int showFile(const BundleReader& bundle, std::size_t index) {
    EntryReader reader(bundle);
    std::string error = reader.open(index);
    const bool terminal = isatty(STDOUT_FILENO) == 1;
    TerminalText text;
    std::vector<char> block(65536);
    std::int64_t got = 0;
    while (error.empty() && (got = reader.read(block.data(), block.size())) > 0) {
      if (terminal) {
        text.print(block.data(), static_cast<std::size_t>(got));
      } else if (std::fwrite(block.data(), 1, static_cast<std::size_t>(got), stdout) == 0) {
        // finishOutput() tells it.
        break;
      }
    }
    text.finish();
    error = error.empty() ? reader.error() : error;
    if (!error.empty()) {
      printError(error);
    }
    return finishOutput(error.empty() ? kExitSuccess : kExitFailure);
  }

  OneBundle m_Bundle;
  std::string m_strWhat;  // empty for the whole bundle
  bool m_bJson = false;
};

}  // namespace

std::unique_ptr<ICommand> makeShowCommand() {
  return std::make_unique<ShowCommand>();
}

}  // namespace halvo

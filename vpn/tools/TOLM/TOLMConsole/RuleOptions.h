// RuleOptions: which known problems a subcommand looks for. Serves one command line, on the main thread.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace CLI {
class App;
}

namespace halvo {

class RuleOptions {
 public:
  // The documents as the positional RULES, or as values of --rules.
  void addPlace(CLI::App& app);
  void addOption(CLI::App& app);

  // Fills `rules` from documents and folders of documents (*.xml), or with the built-in ones where none is
  // given. Returns an exit status; what is wrong with a document is told on standard error, by its line.
  [[nodiscard]] int load(RuleSet& rules) const;

  // The files that load() reads, the documents of a folder one by one.
  [[nodiscard]] std::vector<std::string> documents() const;

 private:
  std::vector<std::string> m_Paths;
};

}  // namespace halvo

// BundleOptions: what every subcommand that reads bundles has in common: the password's options, and how a
// bundle is opened. Used on the main thread.

#pragma once

#include <string>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

namespace CLI {
class App;
}

namespace halvo {

class BundleOptions {
 public:
  // Adds --password-file and --ask-password.
  void addTo(CLI::App& app);

  // Gets the password once, where one is given. Returns an exit status: 0, or what a failure that has been
  // told asks for.
  [[nodiscard]] int prepare();
  // Opens a bundle; a failure is told on standard error and gives an exit status that isn't 0.
  [[nodiscard]] int open(BundleReader& reader, const std::string& path) const;
  [[nodiscard]] const std::string& password() const { return m_strPassword; }

 private:
  std::string m_strPasswordFile;
  std::string m_strPassword;
  bool m_bAskPassword = false;
};

}  // namespace halvo

// BundleOptions: what every subcommand that reads bundles has in common: the password's options, and how a
// bundle is opened. OneBundle: the same for a subcommand that reads one bundle whole. Used on the main
// thread.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

namespace CLI {
class App;
}

namespace halvo {

class Secret;

class BundleOptions {
 public:
  // Adds --password-file and --ask-password.
  void addTo(CLI::App& app);

  // Gets the password once, where one is given. Returns an exit status: 0, or what a failure that has been
  // told asks for.
  [[nodiscard]] int prepare();
  // Opens a bundle; a failure is told on standard error and gives an exit status that isn't 0.
  [[nodiscard]] int open(BundleReader& reader, const std::string& path) const {
    return open(reader, path, m_strPassword);
  }
  // The same with a password of its own.
  [[nodiscard]] static int open(BundleReader& reader, const std::string& path, const std::string& password);
  [[nodiscard]] const std::string& password() const { return m_strPassword; }
  // Empty for none.
  [[nodiscard]] const std::string& passwordFile() const { return m_strPasswordFile; }

 private:
  std::string m_strPasswordFile;
  // Keeps the process from being looked into for as long as there is the password, here and in the reader.
  std::shared_ptr<Secret> m_pSecret;
  std::string m_strPassword;
  bool m_bAskPassword = false;
};

// One line on standard error for each part, so that nobody takes its silence for good news; of many the
// first.
void tellUnread(const std::string& bundle, const std::vector<UnreadPart>& parts);

class OneBundle {
 public:
  // The positional BUNDLE.
  void addPlace(CLI::App& app);
  void addOptions(CLI::App& app) { m_Options.addTo(app); }

  // Once, after the command line: gets the password, opens the bundle and reads its summary. Returns an exit
  // status as BundleOptions does.
  [[nodiscard]] int load();
  [[nodiscard]] const BundleContent& content() const { return m_Content; }
  [[nodiscard]] const std::string& path() const { return m_strPath; }
  [[nodiscard]] const std::string& passwordFile() const { return m_Options.passwordFile(); }

 private:
  std::string m_strPath;
  BundleOptions m_Options;
  BundleReader m_Reader;
  BundleContent m_Content{m_Reader};
};

}  // namespace halvo

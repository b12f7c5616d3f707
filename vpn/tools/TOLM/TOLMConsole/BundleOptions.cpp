#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"

#include <CLI/CLI.hpp>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

void BundleOptions::addTo(CLI::App& app) {
  CLI::Option* const file = app.add_option("--password-file", m_strPasswordFile,
                                           "The password of an encrypted bundle is this file's first line")
                                ->type_name("FILE");
  app.add_flag("--ask-password", m_bAskPassword,
               "Ask for the password of an encrypted bundle on the terminal")
      ->excludes(file);
}

int BundleOptions::prepare() {
  if (!m_bAskPassword && m_strPasswordFile.empty()) {
    return kExitSuccess;
  }
  const PasswordResult result =
      m_bAskPassword ? askPassword(PasswordUse::kExisting) : readPasswordFile(m_strPasswordFile);
  if (!result.error.empty()) {
    return usageFailure(result.error);
  }
  m_pSecret = result.password;
  m_strPassword = m_pSecret->view();
  return kExitSuccess;
}

int BundleOptions::open(BundleReader& reader, const std::string& path, const std::string& password) {
  if (const std::string error = reader.open(path, password); !error.empty()) {
    printError(error);
    return kExitFailure;
  }
  return kExitSuccess;
}

void tellUnread(const std::string& bundle, const std::vector<UnreadPart>& parts) {
  constexpr std::size_t kMostTold = 20;
  for (std::size_t i = 0; i < parts.size() && i < kMostTold; ++i) {
    printError(
        bundle + ": " +
        (parts[i].file.empty() ? parts[i].why : "\"" + parts[i].file + "\" can't be read: " + parts[i].why));
  }
  if (parts.size() > kMostTold) {
    printError(bundle + ": " + std::to_string(parts.size() - kMostTold) + " more can't be read");
  }
}

void OneBundle::addPlace(CLI::App& app) {
  app.add_option("BUNDLE", m_strPath, "The bundle")->required()->type_name("");
}

int OneBundle::load() {
  int status = m_Options.prepare();
  if (status == kExitSuccess) {
    status = m_Options.open(m_Reader, m_strPath);
  }
  if (status == kExitSuccess) {
    m_Content.load();
  }
  return status;
}

}  // namespace halvo

#include "tests/support/TempFolder.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace halvo::test {

TempFolder::TempFolder() {
  const char* base = std::getenv("TMPDIR");
  m_strPath = std::string(base != nullptr ? base : "/tmp") + "/tolm_test_XXXXXX";
  if (mkdtemp(m_strPath.data()) == nullptr) {
    throw std::runtime_error("no temporary folder at " + m_strPath);
  }
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_strPath, ignored);
}

WorkingFolder::WorkingFolder(const std::string& path) : m_strOld(std::filesystem::current_path().string()) {
  std::filesystem::current_path(path);
}

WorkingFolder::~WorkingFolder() {
  std::error_code ignored;
  std::filesystem::current_path(m_strOld, ignored);
}

ScopedEnv::ScopedEnv(const std::string& name, const char* value) : m_strName(name), m_bHadOld(false) {
  if (const char* old = std::getenv(name.c_str()); old != nullptr) {
    m_strOld = old;
    m_bHadOld = true;
  }
  if (value != nullptr) {
    setenv(name.c_str(), value, 1);
  } else {
    unsetenv(name.c_str());
  }
}

ScopedEnv::~ScopedEnv() {
  if (m_bHadOld) {
    setenv(m_strName.c_str(), m_strOld.c_str(), 1);
  } else {
    unsetenv(m_strName.c_str());
  }
}

}  // namespace halvo::test

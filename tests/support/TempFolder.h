// TempFolder: a folder of a test's own, removed with everything in it when the object dies.

#pragma once

#include <string>

namespace halvo::test {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Without a "/" at its end.
  [[nodiscard]] const std::string& path() const { return m_strPath; }
  // path() + "/" + name.
  [[nodiscard]] std::string file(const std::string& name) const { return m_strPath + "/" + name; }

 private:
  std::string m_strPath;
};

// Changes the working folder for a scope.
class WorkingFolder {
 public:
  explicit WorkingFolder(const std::string& path);
  ~WorkingFolder();
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

 private:
  std::string m_strOld;
};

// Sets (or, with a null value, unsets) an environment variable for a scope.
class ScopedEnv {
 public:
  ScopedEnv(const std::string& name, const char* value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_strName;
  std::string m_strOld;
  bool m_bHadOld;
};

}  // namespace halvo::test

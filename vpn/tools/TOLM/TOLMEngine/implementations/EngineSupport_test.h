// Shared by the engine's tests: documents from text, and a listener that keeps what a run reports.

#pragma once

#include <filesystem>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo::test {

inline std::unique_ptr<XMLObject> parseDocument(const std::string& text) {
  TOLMXmlLoader loader;
  std::list<XMLObject*> documents;
  if (loader.load(text, kLoadText, documents) == nullptr) {
    throw std::runtime_error("not well-formed: " + text);
  }
  return std::make_unique<XMLObject>(*documents.front());
}

// Registers itself; reports read "PERCENT TEXT" and "finished CODE".
class ReportKeeper : public IProgressListener {
 public:
  ReportKeeper() { setProgressListener(this); }
  ~ReportKeeper() override { setProgressListener(nullptr); }
  ReportKeeper(const ReportKeeper&) = delete;
  ReportKeeper& operator=(const ReportKeeper&) = delete;

  void updateMsg(const std::string& message) override { m_strMessage = message; }
  void updateProgress(const std::uint32_t* percent) override {
    reports.push_back(std::to_string(*percent) + " " + m_strMessage);
    if (reports.size() == endsCommandAt) {
      writeFile(commandEnd, "");
    }
  }
  void tolmFinished(ResultCode code) override {
    finished.push_back(code);
    reports.push_back("finished " + std::to_string(code));
  }

  std::vector<std::string> reports;
  std::vector<ResultCode> finished;
  // Behind that many reports the command ends that waits for this file: see writeWaitingProgram().
  std::size_t endsCommandAt = 0;
  std::string commandEnd;

 private:
  std::string m_strMessage;
};

// The program of a command that takes until a file is there, which is its argument.
inline void writeWaitingProgram(const std::string& path) {
  writeFile(path, "#!/bin/sh\nfor i in $(seq 1000); do test -e \"$1\" && exit 0; sleep 0.05; done\n");
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

// One item: `<file id="..">` with a description, a default mark and instructions for this system.
inline std::string itemText(const std::string& id, const std::string& actions,
                            const std::string& isDefault = "true") {
  return "<file id=\"" + id + "\"><description>about " + id + "</description><default>" + isDefault +
         "</default><tolm>" + osStart() + actions + "</os></tolm></file>";
}

}  // namespace halvo::test

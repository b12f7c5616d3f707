#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/WriteAll.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundleCheck.h"

namespace halvo {

namespace {

// Unlinks a file at the end of a scope.
class ScopedFile {
 public:
  explicit ScopedFile(std::string path) : m_strPath(std::move(path)) {}
  ~ScopedFile() { unlink(m_strPath.c_str()); }
  ScopedFile(const ScopedFile&) = delete;
  ScopedFile& operator=(const ScopedFile&) = delete;
  [[nodiscard]] const std::string& path() const { return m_strPath; }

 private:
  std::string m_strPath;
};

// The open file stays the one that it is: its owner holds it locked.
std::string copyInto(const DescriptorHolder& source, int target) {
  std::vector<char> block(65536);
  for (;;) {
    const ssize_t got = read(source.get(), block.data(), block.size());
    if (got == 0) {
      return {};
    }
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      return std::string("the redacted bundle can't be read: ") + std::strerror(errno);
    }
    if (const int error = writeAll(target, block.data(), static_cast<std::size_t>(got)); error != 0) {
      return std::string("it can't be written: ") + std::strerror(error);
    }
  }
}

// Redacts the work folder into the file `out`.
std::string writeRedacted(const std::string& folder, const std::string& out, const std::string& password,
                          RedactedArchiveOutcome& outcome) {
  // Listed ahead of the two files below, which aren't the bundle's.
  WorkFiles files;
  if (std::string problem = listWorkFiles(folder, files); !problem.empty()) {
    return "the work folder can't be read: " + problem;
  }
  const ScopedFile plain(folder + "/.plain.zip");
  if (CZip().Zip(folder, plain.path(), "", true) != 0) {
    return "the plain archive can't be made in the work folder";
  }
  const DescriptorHolder archive(open(plain.path().c_str(), O_RDONLY | O_CLOEXEC));
  // The redacted one has other sizes than the work folder: only the plain one can be held against it.
  if (std::string problem = bundleProblem(archive.get(), folder, files); !problem.empty()) {
    return problem;
  }
  BundleReader reader(redactLimits());
  if (std::string problem = reader.open(plain.path(), ""); !problem.empty()) {
    return problem;
  }
  RedactOptions options;
  options.outPath = out;
  options.password = password;
  options.hosts = outcome.hosts;
  BundleRedactor redactor(reader, outcome.standIns, options);
  if (std::string problem = redactor.run(); !problem.empty()) {
    return problem;
  }
  outcome.replaced = redactor.counts().total();
  outcome.leftOut = redactor.leftOut();
  outcome.entries = redactor.entries();
  BundleReader redacted;
  if (std::string problem = redacted.open(out, "", true); !problem.empty()) {
    return problem;
  }
  outcome.bundleEntries = redacted.entries().size();
  outcome.known = redactor.knownNames();
  return "";
}

}  // namespace

std::vector<std::string> namesOfThisMachine() {
  std::array<char, 256> name = {};
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
    return {};
  }
  return {name.data()};
}

std::string RedactedArchiveOutcome::redact(const std::string& text) {
  static const KnownNames kNone;
  const RedactKeep keep;
  return TextRedactor(keep, standIns, known ? *known : kNone).redact(text);
}

DescriptorHolder makeRedactedArchive(const std::string& folder, const std::string& password,
                                     RedactedArchiveOutcome& outcome, std::string& reason) {
  const ScopedFile redacted(folder + "/.redacted.zip");
  reason = writeRedacted(folder, redacted.path(), password, outcome);
  if (!reason.empty()) {
    return {};
  }
  DescriptorHolder file(open(redacted.path().c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    reason = std::string("the redacted bundle can't be opened: ") + std::strerror(errno);
  }
  return file;
}

CollectSettings::ArchiveWriter redactedArchiveWriter(std::shared_ptr<RedactedArchiveOutcome> outcome) {
  return [outcome = std::move(outcome)](const std::string& folder, int file, const std::string& password,
                                        std::string& reason) {
    const DescriptorHolder redacted = makeRedactedArchive(folder, password, *outcome, reason);
    if (reason.empty()) {
      reason = copyInto(redacted, file);
    }
    return reason.empty() ? ResultCode{0} : GLOBAL_ERROR_UNEXPECTED;
  };
}

}  // namespace halvo

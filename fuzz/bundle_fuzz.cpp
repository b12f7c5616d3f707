// Bundles from bytes: whatever they are, they are listed and read in bounds, or refused.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// The input as a file without a name.
class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size) : m_nDescriptor(memfd_create("bundle", 0)) {
    require(m_nDescriptor >= 0 && write(m_nDescriptor, data, size) == static_cast<ssize_t>(size));
  }
  ~InputFile() { close(m_nDescriptor); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(m_nDescriptor); }

 private:
  int m_nDescriptor;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const InputFile file(data, size);
  halvo::BundleLimits limits;
  limits.bytes = std::uint64_t{1} << 22U;
  limits.expansion = 20;
  for (const char* password : {"", "word"}) {
    halvo::BundleReader reader(limits);
    if (!reader.open(file.path(), password).empty()) {
      continue;
    }
    require(!reader.entries().empty());
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < reader.entries().size(); ++i) {
      std::string text;
      const std::string error = reader.readFront(i, std::size_t{1} << 23U, text);
      // What is read without an error is what the table of contents says.
      require(!error.empty() || text.size() == reader.entries()[i].size);
      bytes += text.size();
    }
    require(bytes <= limits.bytes + limits.expansion * size + 65536 * reader.entries().size());
    halvo::BundleContent content(reader);
    content.load();
    const std::string text = showText(content, findFailedOutputs(content));
    for (const char c : text) {
      require(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    }
  }
  return 0;
}

// Feeds any bytes to the XML parser as a document in memory, with a receiver that only checks what it
// is promised.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Xml/RQVSaxParser.h"

namespace {

class CheckingMgr : public halvo::XmlMgr {
 public:
  void startElement(const std::string& name) override {
    require(!name.empty());
    ++m_nOpen;
  }
  void endElement(const std::string& name) override {
    require(!name.empty());
    require(m_nOpen > 0);
    --m_nOpen;
  }
  void elementValue(const std::string& text) override { require(text.find('\0') == std::string::npos); }
  void addAttribute(const std::string& name, const std::string& /*value*/) override {
    require(!name.empty());
    require(m_nOpen > 0);
  }

  static void require(bool holds) {
    if (!holds) {
      std::abort();
    }
  }

  std::size_t m_nOpen = 0;
};

class NullLogger : public halvo::ILogger {
 public:
  halvo::ResultCode log(std::uint32_t /*severity*/, const char* /*message*/, const char* /*messageName*/,
                        std::uint32_t /*messageId*/, int /*level*/) override {
    return 0;
  }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  while (!halvo::releaseLogging()) {
  }
  halvo::ResultCode result = 0;
  halvo::acquireLogging(result, "fuzz", new NullLogger);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckingMgr manager;
  const halvo::ResultCode result =
      halvo::RQVSaxParser(&manager).startParser(text, halvo::RQVSaxParser::kMemory);
  // A document that parsed has closed what it opened.
  CheckingMgr::require(result != 0 || manager.m_nOpen == 0);
  return 0;
}

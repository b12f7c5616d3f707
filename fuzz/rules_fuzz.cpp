// Documents of rules from any text: they are taken, or refused with a line.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  halvo::RuleSet rules;
  std::vector<halvo::RuleFault> faults;
  const bool good = rules.add(text, faults);
  require(good == faults.empty());
  for (const halvo::RuleFault& fault : faults) {
    require(fault.line > 0 && !fault.text.empty());
  }
  for (const halvo::Rule& rule : rules.rules()) {
    require(!rule.id.empty() && !rule.title.empty());
  }
  return 0;
}

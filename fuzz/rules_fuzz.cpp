// Documents of rules from any text: they are taken, or refused with a place. Those that are taken are looked
// for in a small bundle of text, whose lines show what has to be found.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// A pattern may take 2 MiB: longer documents are parsed and not looked for.
constexpr std::size_t kLongestMatched = 16384;

struct File {
  const char* item;
  const char* name;
  std::string text;
};

const std::vector<File>& files() {
  static const std::vector<File> s_Files = {
      {"network-addresses", "ip_result.txt",
       "4: tun0: <POINTOPOINT,UP,LOWER_UP> mtu 1200 state UNKNOWN\ndefault via 192.0.2.1 dev eth0 metric "
       "100\n"},
      {"network-names", "resolvectl_result.txt",
       "Link 4 (tun0)\n    Current Scopes: none\nLink 2 (eth0)\n    DNS Servers: 192.0.2.1\n"},
      {"config-names", "tail_result.txt", "nameserver 192.0.2.53\n"},
      {"client-logs", "agent.log",
       "2026-03-15 10:40:00 agent: connected\n\nMar 14 08:00:00 h agent[7]: error 42: timeout\n"
       "not after=Mar 14 10:00:00 2026 GMT\n\xff\xfe \xc3\xa4 x=-1.5e3 aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n"},
      {"a", "f", ""}};
  return s_Files;
}

// The bundle of these files, open as long as the program runs.
const halvo::BundleContent& bundle() {
  static const int s_nDescriptor = memfd_create("bundle", 0);
  static halvo::BundleReader s_Reader;
  static halvo::BundleContent s_Content(s_Reader);
  if (s_Reader.entries().empty()) {
    halvo::test::SummaryBuilder summary;
    halvo::test::ZipBuilder zip;
    summary.section("Logs");
    for (const File& file : files()) {
      summary.included(file.item, file.name, "", "1 bytes");
      zip.add({std::string("Logs/") + file.name, file.text});
    }
    zip.add({"summary.txt", summary.take()});
    const std::string bytes = zip.take();
    require(write(s_nDescriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    require(s_Reader.open("/proc/self/fd/" + std::to_string(s_nDescriptor), "").empty());
    s_Content.load();
    require(s_Content.files().size() == files().size());
  }
  return s_Content;
}

// How many lines the pattern of a rule's one condition matches, each looked at by itself.
std::uint64_t matchingLines(const halvo::Probe& probe) {
  std::uint64_t count = 0;
  for (const File& file : files()) {
    std::istringstream lines(probe.selector.fits(file.item, file.name) ? file.text : "");
    for (std::string line; std::getline(lines, line);) {
      count += RE2::PartialMatch(line, *probe.pattern) ? 1 : 0;
    }
  }
  return count;
}

void lookFor(const halvo::RuleSet& rules) {
  const halvo::Findings findings = findProblems(bundle(), rules);
  const std::vector<halvo::KnownProblem>& problems = findings.problems;
  // The bundle is whole.
  require(findings.unread.empty() && findings.undecided.empty());
  require(problems.size() <= rules.rules().size());
  for (const halvo::Rule& rule : rules.rules()) {
    if (rule.condition.kind != halvo::ConditionKind::kLine) {
      continue;
    }
    const auto found =
        std::find_if(problems.begin(), problems.end(),
                     [&rule](const halvo::KnownProblem& problem) { return problem.id == rule.id; });
    const std::uint64_t lines = matchingLines(rules.probes()[static_cast<std::size_t>(rule.condition.probe)]);
    require((found != problems.end()) == (lines > 0));
    require(found == problems.end() || found->count == lines);
  }
  for (const halvo::KnownProblem& problem : problems) {
    require(problem.evidence.size() <= problem.count);
    for (const halvo::Evidence& evidence : problem.evidence) {
      require(evidence.file < bundle().files().size());
    }
  }
  for (const char c : findingsText(bundle(), findings)) {
    require(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
  }
  require(!findingsJson(bundle(), findings).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  halvo::RuleSet rules;
  std::vector<halvo::RuleFault> faults;
  const bool good = rules.add(text, faults);
  require(good == faults.empty());
  for (const halvo::RuleFault& fault : faults) {
    require(fault.line > 0 && fault.column > 0 && !fault.text.empty());
  }
  for (const halvo::Rule& rule : rules.rules()) {
    require(!rule.id.empty() && !rule.title.empty());
  }
  if (size <= kLongestMatched) {
    lookFor(rules);
  }
  return 0;
}

// BundleRedactor: makes a bundle without what identifies people and machines out of another.
//
// Entries keep their order and their times. Texts are redacted, names of entries too, and the summary with
// its sizes; what isn't text is left out, unless kept as it is. "redaction.txt" tells at the bundle's end
// what was done, with counts and no value. The entries are worked on by all processors at once; memory
// doesn't grow with them.
//
// The new bundle appears when it is whole. Beside it, in its folder, lies meanwhile what is packed already,
// under no name. Failures are texts for people, one line, empty on success. Nothing is logged.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"
#include "vpn/tools/TOLM/TOLMBundle/Summary.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactRules.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {

class PackCrew;
class TextRedactor;

struct RedactOptions {
  std::string outPath;
  std::string password;  // of the new bundle; empty for none
  RedactKeep keep;
  bool keepBinary = false;
  std::vector<std::string>
      hosts;  // names of the machine, where they are known otherwise; common words aren't
  const RedactRules* rules = nullptr;  // borrowed; may be null
  unsigned threads = 0;                // 0: as many as processors
};

// An entry of the bundle and what became of it.
struct RedactedEntry {
  std::string name;        // in the bundle
  std::string newName;     // in the new one
  std::string leftOut;     // why it isn't there; empty where it is
  std::string fault;       // why it can't be read, without its name; empty where it can
  std::uint64_t size = 0;  // of the new content
};

// The bounds of a bundle that is to be redacted: its texts are read twice.
BundleLimits redactLimits();

class BundleRedactor {
 public:
  // `in` is open and outlives the object, and so do `standIns` and `options`.
  BundleRedactor(const BundleReader& in, StandIns& standIns, const RedactOptions& options);
  ~BundleRedactor();
  BundleRedactor(const BundleRedactor&) = delete;
  BundleRedactor& operator=(const BundleRedactor&) = delete;

  // To be called once.
  [[nodiscard]] std::string run();

  // What was replaced in all.
  [[nodiscard]] const RedactCounts& counts() const { return m_Counts; }
  // The text of the bundle's redaction.txt.
  [[nodiscard]] const std::string& report() const { return m_strReport; }
  // How many entries were left out.
  [[nodiscard]] std::size_t leftOut() const { return m_nLeftOut; }
  // What became of the entries, in the bundle's order.
  [[nodiscard]] std::vector<RedactedEntry> entries() const;
  // The names that the bundle gave away, to redact what is told of it elsewhere; null before run().
  [[nodiscard]] std::shared_ptr<const KnownNames> knownNames() const { return m_pKnown; }

 private:
  enum class State { kText, kSummary, kReport, kFolder, kBinary, kFault };
  struct Entry {
    State state = State::kText;
    std::string name;   // in the new bundle
    std::string fault;  // why it can't be read, without its name
    RedactCounts counts;
    std::uint64_t size = 0;
    std::uint64_t packedSize = 0;
    std::uint32_t crc = 0;
    std::size_t spool = 0;
    std::uint64_t offset = 0;
  };
  // Entries that a row of the summary can't tell apart: each row takes the next.
  struct Namesakes {
    std::vector<std::size_t> entries;
    std::size_t next = 0;
  };
  // Packed texts that wait for their place, one file a thread.
  struct Spool {
    int file = -1;
    std::uint64_t size = 0;
  };

  std::string firstWalk();
  std::string boundTexts();
  void learn(std::size_t index, EntryReader& reader, NameCollector& names);
  void learnHost(const std::string& host, NameCollector& names) const;
  std::string secondWalk();
  std::string redactEntry(std::size_t index, EntryReader& reader, std::size_t spool, PackCrew& crew);
  std::string redactSummary();
  std::string readWhole(std::size_t index, std::string& text) const;
  void redactRows(SummarySection& section, TextRedactor& redactor, std::vector<bool>& matched);
  std::size_t entryOf(const SummarySection& section, const SummaryRow& row, const std::vector<bool>& matched);
  std::string openSpool(Spool& spool) const;
  void nameEntries();
  std::string writeBundle();
  std::string writeEntry(BundleWriter& writer, std::size_t index);
  std::string writeText(BundleWriter& writer, const BundleEntryInfo& like, const std::string& name,
                        const std::string& text);
  void makeReport();
  [[nodiscard]] bool isLeftOut(const Entry& entry) const;
  static std::string leftOutReason(const Entry& entry);
  template <typename Work>
  std::string onAllProcessors(Work work);

  const BundleReader& m_rIn;
  StandIns& m_rStandIns;
  const RedactOptions& m_rOptions;
  std::shared_ptr<const KnownNames> m_pKnown;
  std::vector<Entry> m_Entries;
  std::vector<std::size_t> m_Order;  // large ones first
  std::vector<Spool> m_Spools;
  std::string m_strTop;                        // the folder in which all entries lie, or nothing
  std::map<std::string, Namesakes> m_ByName;   // by the name as the summary breaks it
  std::map<std::string, Namesakes> m_ByPlace;  // by the folder and that name
  std::string m_strSummary;
  std::string m_strOldReport;
  std::string m_strReport;
  bool m_bHasReport = false;
  RedactCounts m_Counts;
  std::size_t m_nLeftOut = 0;
};

}  // namespace halvo

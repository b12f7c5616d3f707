#include "vpn/tools/TOLM/TOLMBundle/redact/BundleRedactor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <thread>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/EntryPacker.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactionReport.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/SummaryText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::uint64_t kLongestSummary = std::uint64_t{16} << 20U;
// Tells a summary and a report.
constexpr std::size_t kFrontLength = 64;
// One other control character in so many bytes is none of a text's.
constexpr std::uint64_t kControlShare = 64;

bool isTextControl(unsigned char c) {
  return (c >= '\b' && c <= '\r') || c == 0x1b;
}

// Counts what texts don't have.
class TextTest {
 public:
  void look(const char* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      const auto c = static_cast<unsigned char>(data[i]);
      m_bZero = m_bZero || c == 0;
      m_nControls += c < ' ' && !isTextControl(c) ? 1U : 0U;
    }
    m_nSize += size;
  }
  [[nodiscard]] bool isText() const { return !m_bZero && m_nControls * kControlShare <= m_nSize; }
  [[nodiscard]] bool hasZero() const { return m_bZero; }

 private:
  bool m_bZero = false;
  std::uint64_t m_nControls = 0;
  std::uint64_t m_nSize = 0;
};

std::string systemFailure(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// What `work` gives back, or what it threw as a text: on a thread it would end the program.
template <typename Work>
std::string withoutThrowing(Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return "memory ran out";
  } catch (const std::exception& error) {
    return std::string("the bundle can't be redacted: ") + error.what();
  }
}

}  // namespace

BundleLimits redactLimits() {
  BundleLimits limits;
  limits.bytes *= 2;
  limits.expansion *= 2;
  return limits;
}

BundleRedactor::BundleRedactor(const BundleReader& in, StandIns& standIns, const RedactOptions& options)
    : m_rIn(in), m_rStandIns(standIns), m_rOptions(options) {}

BundleRedactor::~BundleRedactor() {
  for (const Spool& spool : m_Spools) {
    if (spool.file >= 0) {
      close(spool.file);
    }
  }
}

template <typename Work>
std::string BundleRedactor::onAllProcessors(Work work) {
  unsigned count = m_rOptions.threads != 0 ? m_rOptions.threads : std::thread::hardware_concurrency();
  count = std::clamp<unsigned>(count, 1, static_cast<unsigned>(std::max<std::size_t>(1, m_Order.size())));
  std::atomic<std::size_t> next{0};
  std::mutex lock;
  std::string failure;
  const auto worker = [&](std::size_t number) {
    const std::string problem = withoutThrowing([&] { return work(number, next); });
    if (!problem.empty()) {
      next = m_Order.size();  // the others need not go on
      const std::lock_guard<std::mutex> guard(lock);
      failure = failure.empty() ? problem : failure;
    }
  };
  std::vector<std::thread> threads;
  for (unsigned i = 1; i < count; ++i) {
    try {
      threads.emplace_back(worker, i);
    } catch (const std::system_error&) {
      break;  // fewer will do
    }
  }
  worker(0);
  for (std::thread& thread : threads) {
    thread.join();
  }
  return failure;
}

std::string BundleRedactor::run() {
  const std::vector<BundleEntryInfo>& entries = m_rIn.entries();
  m_Entries.resize(entries.size());
  m_strTop = commonFolder(entries);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    Entry& entry = m_Entries[i];
    if (!entries[i].fault.empty()) {
      entry.state = State::kFault;
      entry.fault = entries[i].fault;
    } else if (entries[i].isFolder()) {
      entry.state = State::kFolder;
    } else {
      m_Order.push_back(i);
    }
  }
  // The largest first: no processor is left alone with one at the end.
  std::stable_sort(m_Order.begin(), m_Order.end(),
                   [&entries](std::size_t a, std::size_t b) { return entries[a].size > entries[b].size; });
  m_Spools.resize(
      std::max(1U, m_rOptions.threads != 0 ? m_rOptions.threads : std::thread::hardware_concurrency()));
  for (Spool& spool : m_Spools) {
    if (std::string failure = openSpool(spool); !failure.empty()) {
      return failure;
    }
  }
  for (const auto step :
       {&BundleRedactor::firstWalk, &BundleRedactor::boundTexts, &BundleRedactor::secondWalk,
        &BundleRedactor::redactSummary, &BundleRedactor::writeBundle}) {
    if (std::string failure = withoutThrowing([&] { return (this->*step)(); }); !failure.empty()) {
      return failure;
    }
  }
  return {};
}

// A file without a name: nothing is left of it, whatever happens.
std::string BundleRedactor::openSpool(Spool& spool) const {
  std::string name = folderOf(m_rOptions.outPath) + "/.redact-XXXXXX";
  spool.file = mkostemp(name.data(), O_CLOEXEC);
  if (spool.file < 0) {
    return systemFailure("no file can be made in the folder of " + m_rOptions.outPath);
  }
  unlink(name.c_str());
  return {};
}

std::string BundleRedactor::firstWalk() {
  NameCollector all;
  std::mutex lock;
  std::string failure = onAllProcessors([this, &all, &lock](std::size_t, std::atomic<std::size_t>& next) {
    EntryReader reader(m_rIn);
    NameCollector names;
    for (std::size_t i = next++; i < m_Order.size(); i = next++) {
      learn(m_Order[i], reader, names);
    }
    const std::lock_guard<std::mutex> guard(lock);
    all.add(names);
    return std::string();
  });
  if (!failure.empty()) {
    return failure;
  }
  // There is one summary and one report of an earlier redaction; others are files that look like them.
  for (const State only : {State::kSummary, State::kReport}) {
    bool isFirst = true;
    for (Entry& entry : m_Entries) {
      if (entry.state == only) {
        entry.state = isFirst ? only : State::kText;
        isFirst = false;
      }
    }
  }
  TextRedactor redactor(m_rOptions.keep, m_rStandIns, all);
  if (m_rOptions.rules != nullptr) {
    redactor.useRules(*m_rOptions.rules);
  }
  for (const BundleEntryInfo& entry : m_rIn.entries()) {
    redactPath(redactor, entry.name);
  }
  // What was asked for comes last: there is room for it in any case.
  if (m_rOptions.rules != nullptr) {
    m_rOptions.rules->addNames(all);
  }
  for (const std::string& host : m_rOptions.hosts) {
    learnHost(host, all);
  }
  m_pKnown = std::make_shared<KnownNames>(all, m_rStandIns);
  return {};
}

// In full, by its first part and its domain.
void BundleRedactor::learnHost(const std::string& host, NameCollector& names) const {
  const HostParts parts = splitHost(host);
  for (const std::string_view name :
       {std::string_view(host), std::string_view(host).substr(0, host.find('.')), parts.base}) {
    if (!name.empty() && isHostText(name) && !isCommonWord(name) && !isEverydayWord(name) &&
        (m_rOptions.rules == nullptr || !m_rOptions.rules->keeps(name))) {
      names.choose(RedactKind::kHost, name);
    }
  }
}

// Finds out whether an entry is text and which names it gives away.
void BundleRedactor::learn(std::size_t index, EntryReader& reader, NameCollector& names) {
  Entry& entry = m_Entries[index];
  const std::string& name = m_rIn.entries()[index].name;
  if (std::string failure = reader.open(index); !failure.empty()) {
    entry.state = State::kFault;
    entry.fault = reader.cause();
    return;
  }
  TextRedactor redactor(m_rOptions.keep, m_rStandIns, names);
  if (m_rOptions.rules != nullptr) {
    redactor.useRules(*m_rOptions.rules);
  }
  TextTest test;
  std::vector<char> block(kBlock);
  const bool isSmall = m_rIn.entries()[index].size <= kLongestSummary;
  const bool mayBeReport = isSmall && (name == kRedactionEntry || name == m_strTop + kRedactionEntry);
  std::string front;
  std::string report;
  std::string none;
  for (;;) {
    const std::int64_t got = reader.read(block.data(), block.size());
    if (got < 0) {
      entry.state = State::kFault;
      entry.fault = reader.cause();
      return;
    }
    if (got == 0) {
      break;
    }
    const std::string_view piece(block.data(), static_cast<std::size_t>(got));
    front.append(piece.substr(0, kFrontLength - std::min(kFrontLength, front.size())));
    test.look(piece.data(), piece.size());
    if (test.hasZero() && m_rOptions.keepBinary) {
      continue;  // whether it is whole is told at its end
    }
    if (test.hasZero()) {
      break;
    }
    if (mayBeReport) {
      report += piece;
    } else {
      redactor.feed(piece, none);
    }
  }
  if (test.hasZero()) {
    entry.state = State::kBinary;
    return;
  }
  const bool isReport =
      mayBeReport && !front.empty() && std::string_view(kReportFront).substr(0, kFrontLength) == front;
  if (isReport) {
    redactReport(redactor, report);  // as it will be read again: as a text its paths are others'
  } else {
    redactor.feed(report, none);
  }
  redactor.finish(none);
  if (!test.isText()) {
    entry.state = State::kBinary;
  } else if (isReport) {
    entry.state = State::kReport;
  } else if (isSummary(front) && name.starts_with(m_strTop) &&
             name.find('/', m_strTop.size()) == std::string::npos && isSmall) {
    entry.state = State::kSummary;
  }
}

// Every text is read once more. What the bundle's bound has no room for is left out, as it is in the first
// walk: one that unpacks to too much costs itself, and not all others.
std::string BundleRedactor::boundTexts() {
  std::uint64_t rest = m_rIn.rest();
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    Entry& entry = m_Entries[i];
    if (entry.state != State::kText && entry.state != State::kSummary && entry.state != State::kReport) {
      continue;
    }
    const std::uint64_t size = m_rIn.entries()[i].size;
    if (size > rest) {
      entry.state = State::kFault;
      entry.fault = kUnpacksToTooMuch;
    } else {
      rest -= size;
    }
  }
  return {};
}

std::string BundleRedactor::secondWalk() {
  nameEntries();
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    Entry& entry = m_Entries[i];
    if (entry.state == State::kReport) {
      std::string text;
      if (std::string failure = readWhole(i, text); !failure.empty()) {
        return failure;
      }
      TextRedactor redactor(m_rOptions.keep, m_rStandIns, *m_pKnown);
      if (m_rOptions.rules != nullptr) {
        redactor.useRules(*m_rOptions.rules);
      }
      m_strOldReport = redactReport(redactor, text);
      if (m_strOldReport != text) {
        entry.counts.add(redactor.counts());
      }
    }
  }
  // A thread without a text packs for those that still have one: one large log takes all processors too.
  PackCrew crew;
  return onAllProcessors([this, &crew](std::size_t number, std::atomic<std::size_t>& next) {
    PackCrew::Place place(crew);
    EntryReader reader(m_rIn);
    for (std::size_t i = next++; i < m_Order.size(); i = next++) {
      const std::size_t index = m_Order[i];
      if (m_Entries[index].state == State::kText) {
        if (std::string failure = redactEntry(index, reader, number, crew); !failure.empty()) {
          return failure;
        }
      }
    }
    place.help();
    return std::string();
  });
}

// Names are redacted part by part. Two that become the same are told apart by a number.
void BundleRedactor::nameEntries() {
  TextRedactor redactor(m_rOptions.keep, m_rStandIns, *m_pKnown);
  if (m_rOptions.rules != nullptr) {
    redactor.useRules(*m_rOptions.rules);
  }
  // Ahead of all that are new: a name that stays must not be given to another entry.
  std::set<std::string> taken = {kRedactionEntry};
  std::vector<bool> isNew(m_Entries.size());
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    Entry& entry = m_Entries[i];
    const std::string& old = m_rIn.entries()[i].name;
    const RedactCounts before = redactor.counts();
    entry.name = redactPath(redactor, old);
    for (std::size_t kind = 0; kind < kRedactKindCount && entry.name != old; ++kind) {
      entry.counts.places[kind] += redactor.counts().places[kind] - before.places[kind];
    }
    // A file that is called like the report, and is none, makes room for it.
    isNew[i] = entry.name != old || (old == kRedactionEntry && entry.state != State::kReport);
    if (!isNew[i]) {
      taken.insert(entry.name);
    }
  }
  // By name the number to go on with: many that become the same don't try all numbers anew.
  std::map<std::string, std::size_t> numbers;
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    if (!isNew[i]) {
      continue;
    }
    Entry& entry = m_Entries[i];
    std::string unlike = entry.name;
    const std::string slash = unlike.ends_with('/') ? "/" : "";  // of a folder
    const std::string stem = unlike.substr(0, unlike.size() - slash.size());
    if (taken.contains(unlike)) {
      std::size_t& number = numbers.emplace(entry.name, 2).first->second;
      do {
        unlike = stem + "-" + std::to_string(number++) + slash;
      } while (taken.contains(unlike));
    }
    entry.name = unlike;
    taken.insert(entry.name);
    if (entry.name == m_rIn.entries()[i].name) {
      entry.counts = {};  // it was numbered so before
    }
  }
}

std::string BundleRedactor::redactEntry(std::size_t index, EntryReader& reader, std::size_t spoolNumber,
                                        PackCrew& crew) {
  Entry& entry = m_Entries[index];
  Spool& spool = m_Spools[spoolNumber];
  if (std::string failure = reader.open(index); !failure.empty()) {
    return failure;
  }
  TextRedactor redactor(m_rOptions.keep, m_rStandIns, *m_pKnown);
  if (m_rOptions.rules != nullptr) {
    redactor.useRules(*m_rOptions.rules);
  }
  EntryPacker packer(crew, spool.file);
  std::vector<char> block(kBlock);
  std::string out;
  bool isLast = false;
  while (!isLast) {
    const std::int64_t got = reader.read(block.data(), block.size());
    if (got < 0) {
      return reader.error();
    }
    out.clear();
    isLast = got == 0;
    if (isLast) {
      redactor.finish(out);
    } else {
      redactor.feed(std::string_view(block.data(), static_cast<std::size_t>(got)), out);
    }
    if (!packer.put(out) || (isLast && !packer.finish())) {
      return systemFailure("the bundle can't be written");
    }
  }
  entry.size = packer.size();
  entry.packedSize = packer.packedSize();
  entry.crc = packer.crc();
  // What was redacted before has marks in which nothing is new.
  if (entry.size != m_rIn.entries()[index].size || entry.crc != m_rIn.entries()[index].crc) {
    entry.counts.add(redactor.counts());
  }
  entry.spool = spoolNumber;
  entry.offset = spool.size;
  spool.size += packer.packedSize();
  return {};
}

std::vector<RedactedEntry> BundleRedactor::entries() const {
  std::vector<RedactedEntry> entries;
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    const Entry& entry = m_Entries[i];
    RedactedEntry told = {m_rIn.entries()[i].name, entry.name, "", "", entry.size};
    if (isLeftOut(entry)) {
      told.leftOut = kLeftOut + leftOutReason(entry);
      told.fault = entry.fault;
    } else if (entry.state == State::kSummary) {
      told.size = m_strSummary.size();
    } else if (entry.state == State::kReport) {
      told.size = m_strReport.size();
    } else if (entry.state == State::kBinary) {
      told.size = m_rIn.entries()[i].size;
    }
    entries.push_back(std::move(told));
  }
  return entries;
}

std::string BundleRedactor::leftOutReason(const Entry& entry) {
  return entry.state == State::kBinary ? "not a text" : "it can't be read: " + entry.fault;
}

bool BundleRedactor::isLeftOut(const Entry& entry) const {
  return entry.state == State::kFault || (entry.state == State::kBinary && !m_rOptions.keepBinary);
}

}  // namespace halvo

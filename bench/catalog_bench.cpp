// One look-up in a language file: the system's reader beside the C library's gettext, on the same file.
//
// gettext() translates in no "C" locale. The C library's own gettext takes the language from LANGUAGE
// wherever the locale is another one, and "C.UTF-8" is there on every machine.

#include <benchmark/benchmark.h>
#include <libintl.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "vpn/Common/i18n/MoCatalog.h"

namespace {

namespace mocatalog = halvo::mocatalog;

constexpr int kStrings = 2000;
constexpr const char* kDomain = "bench";

std::string keyAt(int number) {
  char digits[16];
  std::snprintf(digits, sizeof(digits), "%05d", number);
  return std::string("The message with the number ") + digits + " of this catalog.";
}

// A folder with the language file, made once by the format's own tool and removed at the end.
class Files {
 public:
  Files() {
    char folder[] = "/tmp/catalog_bench.XXXXXX";
    if (mkdtemp(folder) == nullptr) {
      fail("can't make a folder");
    }
    m_strFolder = folder;
    const std::string messages = m_strFolder + "/de/LC_MESSAGES";
    std::filesystem::create_directories(messages);
    const std::string source = m_strFolder + "/bench.po";
    std::ofstream po(source);
    po << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=utf-8\\n\"\n";
    for (int i = 0; i < kStrings; ++i) {
      po << "\nmsgid \"" << keyAt(i) << "\"\nmsgstr \"Die Meldung mit der Nummer " << i << ".\"\n";
      m_keys.push_back(keyAt(i));
      m_misses.push_back(keyAt(i) + "?");
    }
    po.close();
    const std::string command = "msgfmt -o " + messages + "/bench.mo " + source;
    if (std::system(command.c_str()) != 0) {
      fail("msgfmt failed");
    }
    setenv("LANGUAGE", "de", 1);
    std::setlocale(LC_ALL, "C.UTF-8");
    ::bindtextdomain(kDomain, m_strFolder.c_str());
    ::textdomain(kDomain);
    mocatalog::bindtextdomain(kDomain, m_strFolder.c_str());
    mocatalog::textdomain(kDomain);
  }
  ~Files() { std::filesystem::remove_all(m_strFolder); }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  [[nodiscard]] const std::vector<std::string>& keys(bool hit) const { return hit ? m_keys : m_misses; }

 private:
  [[noreturn]] static void fail(const char* reason) {
    std::fprintf(stderr, "catalog_bench: %s\n", reason);
    std::exit(1);
  }

  std::string m_strFolder;
  std::vector<std::string> m_keys;
  std::vector<std::string> m_misses;
};

const Files& files() {
  static const Files made;
  return made;
}

// Looks all the keys up in turn and checks that they are translated, or not, as they have to be.
template <class LookUp>
void run(benchmark::State& state, bool hit, LookUp lookUp) {
  const std::vector<std::string>& keys = files().keys(hit);
  std::size_t next = 0;
  for (auto step : state) {
    static_cast<void>(step);
    const char* key = keys[next].c_str();
    const char* found = lookUp(key);
    if ((found != key) != hit) {
      state.SkipWithError("the look-up went wrong");
      break;
    }
    next = next + 1 < keys.size() ? next + 1 : 0;
  }
}

void readerHit(benchmark::State& state) {
  run(state, true, [](const char* key) { return mocatalog::translateInLocale(key, "de"); });
}
void readerMiss(benchmark::State& state) {
  run(state, false, [](const char* key) { return mocatalog::translateInLocale(key, "de"); });
}
// What a user of "de-at" has, whose look-ups walk through the load and two stat calls each.
void readerHitByLanguage(benchmark::State& state) {
  run(state, true, [](const char* key) { return mocatalog::translateInLocale(key, "de-at"); });
}
void gettextHit(benchmark::State& state) {
  run(state, true, [](const char* key) { return static_cast<const char*>(::gettext(key)); });
}
void gettextMiss(benchmark::State& state) {
  run(state, false, [](const char* key) { return static_cast<const char*>(::gettext(key)); });
}

BENCHMARK(readerHit);
BENCHMARK(gettextHit);
BENCHMARK(readerMiss);
BENCHMARK(gettextMiss);
BENCHMARK(readerHitByLanguage);

}  // namespace

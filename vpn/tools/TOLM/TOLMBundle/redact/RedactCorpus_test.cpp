// The proof: a bundle such as a machine gives, with 2,000 seeded identifiers of all kinds in all forms. None
// may be left in any form, and next to nothing else may be touched.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <set>
#include <sstream>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {
namespace {

enum class Seed { kIpv4, kIpv6, kMac, kEmail, kHost, kUser, kSerial, kUuid, kSecret, kWifi };

struct Planted {
  Seed kind;
  std::string text;
};

std::string lowered(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(lowerByte(static_cast<unsigned char>(c)));
  }
  return text;
}

std::string uppered(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  }
  return text;
}

std::string base64(const std::string& text) {
  static constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    unsigned bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8U | (i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      result += i + k > text.size() ? '=' : kDigits[bits >> (18U - 6U * k) & 63U];
    }
  }
  return result;
}

// What the Base64 in a text says, one line each.
std::string unpackedBase64(const std::string& text) {
  std::string result;
  unsigned bits = 0;
  unsigned filled = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const int value = c >= 'A' && c <= 'Z'   ? c - 'A'
                      : c >= 'a' && c <= 'z' ? c - 'a' + 26
                      : isDigitByte(byte)    ? c - '0' + 52
                      : c == '+'             ? 62
                      : c == '/'             ? 63
                                             : -1;
    if (value < 0) {
      bits = filled = 0;
      result += '\n';
      continue;
    }
    bits = (bits << 6U | static_cast<unsigned>(value)) & 0xffffffU;
    filled += 6;
    if (filled >= 8) {
      filled -= 8;
      result += static_cast<char>(bits >> filled & 255U);
    }
  }
  return result;
}

std::string percent(const std::string& text) {
  std::string result;
  for (const char c : text) {
    std::array<char, 4> code = {};
    std::snprintf(code.data(), code.size(), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    result += isWordByte(static_cast<unsigned char>(c)) || c == '-' || c == '.' || c == '_'
                  ? std::string(1, c)
                  : code.data();
  }
  return result;
}

std::string unpercent(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && isHexByte(static_cast<unsigned char>(text[i + 1])) &&
        isHexByte(static_cast<unsigned char>(text[i + 2]))) {
      result += static_cast<char>(hexValue(static_cast<unsigned char>(text[i + 1])) << 4U |
                                  hexValue(static_cast<unsigned char>(text[i + 2])));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

// The parts between dots, the other way round.
std::string turned(const std::string& text) {
  std::string result;
  for (std::size_t end = text.size(); end != std::string::npos;) {
    const std::size_t dot = end == 0 ? std::string::npos : text.rfind('.', end - 1);
    const std::size_t begin = dot == std::string::npos ? 0 : dot + 1;
    result += (result.empty() ? "" : ".") + text.substr(begin, end - begin);
    end = dot;
  }
  return result;
}

class Corpus {
 public:
  Corpus() {
    for (int i = 0; i < 200; ++i) {
      plant(Seed::kIpv4, number(11, 99) + "." + number(1, 250) + "." + number(1, 250) + "." + number(1, 250));
      plant(Seed::kIpv4,
            (i % 2 == 0 ? "10." + number(1, 250) : "192.168") + "." + number(1, 250) + "." + number(1, 250));
      plant(Seed::kIpv6, "2a02:" + hex(4) + ":" + hex(4) + ":" + hex(4) + ":" + hex(4) + ":" + hex(4) + ":" +
                             hex(4) + ":" + hex(4));
      plant(Seed::kMac, "00:1b:" + hex(2) + ":" + hex(2) + ":" + hex(2) + ":" + hex(2));
      plant(Seed::kEmail, word() + "." + word() + "@" + domain());
      plant(Seed::kHost, word() + number(1, 99) + "." + domain());
      plant(Seed::kUser, word() + "." + word());
      plant(Seed::kSecret, word() + number(1000, 9999) + "x" + hex(6));
    }
    for (int i = 0; i < 150; ++i) {
      plant(Seed::kSerial, "PF" + uppered(hex(7)) + "X" + number(1, 9));
      plant(Seed::kUuid, hex(8) + "-" + hex(4) + "-4" + hex(3) + "-a" + hex(3) + "-" + hex(12));
    }
    for (int i = 0; i < 100; ++i) {
      plant(Seed::kWifi, word() + " " + word() + " " + number(1, 99));
    }
    write();
  }

  [[nodiscard]] const std::vector<Planted>& seeds() const { return m_Seeds; }
  [[nodiscard]] const test::BundleTexts& texts() const { return m_Texts; }

 private:
  std::string number(int least, int most) {
    return std::to_string(std::uniform_int_distribution<int>(least, most)(m_Random));
  }
  std::string hex(int digits) {
    std::string text;
    for (int i = 0; i < digits; ++i) {
      text += "0123456789abcdef"[m_Random() % 16];
    }
    return text.front() == '0' ? "1" + text.substr(1) : text;  // as the system writes an address
  }
  std::string word() {
    static constexpr std::array<const char*, 24> kParts = {
        "bel",  "cor", "dun", "fen", "gar", "hol", "jas", "kem", "lor", "mag", "nor",  "pel",
        "quin", "ros", "sal", "tor", "ul",  "ver", "wil", "xan", "yor", "zel", "bram", "dov"};
    std::string text;
    for (int i = 0; i < 3; ++i) {
      text += kParts[m_Random() % kParts.size()];
    }
    return text;
  }
  std::string domain() {
    static constexpr std::array<const char*, 12> kEnds = {"de", "com", "net", "org",    "co.uk", "fr",
                                                          "ch", "io",  "eu",  "com.au", "local", "cloud"};
    if (m_Domains.size() < 40) {
      m_Domains.push_back(word() + "-" + word() + "." + kEnds[m_Random() % kEnds.size()]);
    }
    return m_Domains[m_Random() % m_Domains.size()];
  }
  void plant(Seed kind, const std::string& text) {
    if (m_Taken.insert(text).second) {
      m_Seeds.push_back({kind, text});
    }
  }
  std::string stamp() {
    return "Mar 15 1" + number(0, 9) + ":" + number(10, 59) + ":" + number(10, 59) + " ";
  }
  std::string filler() {
    static constexpr std::array<const char*, 20> kWords = {
        "connection", "state",    "changed", "to",    "connected", "retry",  "packet",
        "sent",       "received", "route",   "added", "lookup",    "failed", "timeout",
        "policy",     "loaded",   "reading", "bytes", "worker",    "event"};
    std::string text;
    for (int i = 0; i < 8; ++i) {
      text += std::string(kWords[m_Random() % kWords.size()]) + (i % 3 == 2 ? ", " : " ");
    }
    return text + "code=" + number(0, 99) + " took " + number(1, 999) + " ms version 5." + number(0, 9) +
           "." + number(0, 9) + "." + number(0, 99) + "\n";
  }

  // The ways in which commands and logs write a value of the kind.
  std::vector<std::string> plainLines(const Planted& seed) {
    const std::string& t = seed.text;
    const std::string log = stamp() + "belgarmon-mbp agentd[" + number(100, 9999) + "]: ";
    switch (seed.kind) {
      case Seed::kIpv4:
        return {log + "connect to " + t + ":443 failed",
                "    inet " + t + "/24 brd scope global",
                "nameserver " + t,
                "{\"addr\":\"" + t + "\"}",
                "default via " + t + " dev eth0",
                "<Address>" + t + "</Address>",
                "peer=" + t + ",port=1"};
      case Seed::kIpv6:
        return {log + "from [" + t + "]:443", "    inet6 " + t + "/64 scope global",
                "{\"addr\": \"" + t + "\"}", "nameserver " + t + "%eth0", log + t + ": no route"};
      case Seed::kMac:
        return {"    link/ether " + t + " brd ff:ff:ff:ff:ff:ff", log + "station " + t + " joined",
                "HWaddr=" + t, "BSSID " + t};
      case Seed::kEmail:
        return {log + "mail for <" + t + ">", "{\"email\":\"" + t + "\"}", "to=" + t + ", status=sent",
                "contact: " + t};
      case Seed::kHost:
        return {log + "resolving " + t + " ...",
                "https://" + t + "/api/v1",
                "{\"gateway\":\"" + t + "\"}",
                "search " + t,
                "<HostName>" + t + "</HostName>",
                "CN=" + t + ",O=x",
                t + ":443"};
      case Seed::kUser:
        return {"/home/" + t + "/.config/agent.json",
                log + "session opened for user " + t + "(uid=1000) by (uid=0)", "USER=" + t,
                "{\"username\":\"" + t + "\"}", "drwxr-xr-x 2 " + t + " " + t + " 4096 Mar 15 10:42 x"};
      case Seed::kSerial:
        return {"\tSerial Number: " + t, "serial=" + t, "\"IOPlatformSerialNumber\" = \"" + t + "\"",
                "replaced " + t + " today"};
      case Seed::kUuid:
        return {"UUID=" + t + " /boot ext4", log + "device " + t + " added",
                "{\"machine-id\":\"" + t + "\"}"};
      case Seed::kSecret:
        return {"password=" + t,
                "{\"access_token\": \"" + t + "\"}",
                "Authorization: Bearer " + t,
                "<Password>" + t + "</Password>",
                "Cookie: sid=" + t + "; x=1",
                "wpa_passphrase=" + t,
                "https://root:" + t + "@127.0.0.1/",
                log + "login with " + t + " done"};
      case Seed::kWifi:
        return {"ssid=\"" + t + "\"", log + "associated, SSID: \"" + t + "\"", log + "leaving " + t + " now"};
    }
    return {};
  }

  void write() {
    std::array<std::string, 5> files;
    for (const Planted& seed : m_Seeds) {
      std::size_t file = 0;
      const auto put = [&](const std::string& line) {
        files[file++ % files.size()] += line + "\n" + filler() + filler();
      };
      for (const std::string& line : plainLines(seed)) {
        put(line);
      }
      const std::string upper = uppered(seed.text);
      if (seed.kind != Seed::kSecret) {
        put("seen " + upper + " again");
      }
      const bool isKeyed =
          seed.kind == Seed::kSecret || seed.kind == Seed::kUser || seed.kind == Seed::kSerial;
      const std::string keyed = seed.kind == Seed::kSecret ? "password="
                                : seed.kind == Seed::kUser ? "user="
                                                           : "serial=";
      put("GET /q=" + percent((isKeyed ? keyed : "") + seed.text) + " 200");
      put("blob " + base64((isKeyed ? keyed : "the value is ") + seed.text + (isKeyed ? "" : " there")) +
          " end");
      if (seed.kind == Seed::kIpv4) {
        put(turned(seed.text) + ".in-addr.arpa domain name pointer");
      } else if (seed.kind == Seed::kHost) {
        put("bundle " + turned(seed.text) + " started");
      } else if (seed.kind == Seed::kIpv6) {
        std::string digits;
        for (const char c : seed.text) {
          digits = c == ':' ? digits : std::string(1, c) + (digits.empty() ? "" : ".") + digits;
        }
        put(digits + ".ip6.arpa domain name pointer");
      }
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
      m_Texts.emplace_back("Logs/file-" + std::to_string(i) + ".log", files[i]);
    }
    // Names of files hold them too.
    for (const Planted& seed : m_Seeds) {
      if (seed.kind == Seed::kUser || seed.kind == Seed::kHost || seed.kind == Seed::kIpv4) {
        m_Texts.emplace_back("Logs/state-" + seed.text + ".json", "{}");
      }
    }
  }

  std::mt19937 m_Random{20260315};
  std::vector<std::string> m_Domains;
  std::set<std::string> m_Taken;
  std::vector<Planted> m_Seeds;
  test::BundleTexts m_Texts;
};

// Much faster than find() in texts as long as these.
bool isIn(const std::string& text, const std::string& part) {
  return std::search(text.begin(), text.end(),
                     std::boyer_moore_horspool_searcher(part.begin(), part.end())) != text.end();
}

class RedactCorpusTest : public testing::Test {
 protected:
  test::BundleTexts redacted(const test::BundleTexts& texts) {
    test::makeBundle(m_temp.file("in.zip"), texts);
    StandIns standIns(test::kTestKey);
    RedactOptions options;
    options.outPath = m_temp.file("out.zip");
    EXPECT_EQ("", test::redactBundle(m_temp.file("in.zip"), options, standIns));
    return test::readBundle(m_temp.file("out.zip"));
  }

  test::TempFolder m_temp;
};

TEST_F(RedactCorpusTest, NoneOfTwoThousandIdentifiersIsLeftInAnyForm) {
  const Corpus corpus;
  ASSERT_GE(corpus.seeds().size(), 1990U) << "hardly any may be drawn twice";
  // The lines between them are looked at below; without these the search is short.
  std::string all;
  for (const auto& [name, text] : redacted(corpus.texts())) {
    all += name + "\n";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      all += line.find(" ms version 5.") == std::string::npos ? line + "\n" : "";
    }
  }
  const std::string plain = lowered(all);
  const std::string decoded = lowered(unpackedBase64(all));
  const std::string unescaped = lowered(unpercent(all));
  std::vector<std::string> left;
  for (const Planted& seed : corpus.seeds()) {
    const std::string text = lowered(seed.text);
    for (const std::string& form : {text, lowered(percent(text)), turned(text)}) {
      if (isIn(plain, form) || isIn(unescaped, form)) {
        left.push_back(form + ": " + plain.substr(std::max<std::size_t>(plain.find(form), 60) - 60, 160));
        break;
      }
    }
    if (isIn(decoded, text)) {
      left.push_back("Base64: " + text);
    }
  }
  left.resize(std::min<std::size_t>(left.size(), 40));
  EXPECT_THAT(left, testing::IsEmpty());
}

// The lines without identifiers stand between those with them, so they are compared in their order.
TEST_F(RedactCorpusTest, TheLinesBetweenThemAreNotTouched) {
  const Corpus corpus;
  const test::BundleTexts after = redacted(corpus.texts());
  std::size_t tokens = 0;
  std::size_t touched = 0;
  for (std::size_t i = 0; i < 5; ++i) {
    std::istringstream before(corpus.texts()[i].second);
    std::istringstream behind(after[i].second);
    std::string old;
    std::string now;
    while (std::getline(before, old) && std::getline(behind, now)) {
      const std::size_t words = static_cast<std::size_t>(std::count(old.begin(), old.end(), ' ')) + 1;
      const bool isFiller = old.find(" ms version 5.") != std::string::npos;
      tokens += isFiller ? words : 0;
      touched += isFiller && old != now ? 1 : 0;
    }
  }
  EXPECT_GT(tokens, 100000U);
  EXPECT_EQ(0U, touched);
}

// Real texts: the documents, settings and scripts of this very tree.
TEST_F(RedactCorpusTest, AtMostOneInAThousandOtherWordsIsTouched) {
  test::BundleTexts texts;
  for (const std::string folder :
       {"docs", "samples", "cmake", "l10n", "scripts", "packaging", "tests/system/golden"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(test::sourcePath(folder))) {
      const std::string path = entry.path().string();
      // What redaction is explained by has examples of what it finds, and rules have those of outputs.
      if (entry.is_regular_file() && path.find("privacy") == std::string::npos &&
          path.find("/rules/") == std::string::npos) {
        const std::string text = test::readFile(path);
        if (text.find('\0') == std::string::npos) {
          texts.emplace_back("f" + std::to_string(texts.size()), text);
        }
      }
    }
  }
  const test::BundleTexts after = redacted(texts);
  std::size_t tokens = 0;
  std::vector<std::string> touched;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::istringstream before(texts[i].second);
    std::istringstream behind(after[i].second);
    std::string old;
    std::string now;
    while (before >> old && behind >> now) {
      ++tokens;
      if (old != now && old.find('@') == std::string::npos) {  // translators have addresses
        touched.push_back(old + " -> " + now);
      }
    }
  }
  EXPECT_GT(tokens, 30000U);
  EXPECT_LE(touched.size() * 1000, tokens) << testing::PrintToString(touched);
}

TEST_F(RedactCorpusTest, RedactingItTwiceChangesNothing) {
  const Corpus corpus;
  const test::BundleTexts once = redacted(corpus.texts());
  const test::BundleTexts twice = redacted(once);
  ASSERT_EQ(once.size(), twice.size());
  for (std::size_t i = 0; i < once.size(); ++i) {
    EXPECT_EQ(once[i].first, twice[i].first);
    EXPECT_TRUE(once[i].second == twice[i].second) << once[i].first;
  }
}

}  // namespace
}  // namespace halvo

// What the tests of redacted bundles share: making a bundle of texts, redacting it, reading it back.

#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"
#include "vpn/tools/TOLM/TOLMBundle/Summary.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/BundleRedactor.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/SummaryText.h"

namespace halvo::test {

// Names and contents, in the order of the bundle.
using BundleTexts = std::vector<std::pair<std::string, std::string>>;

inline constexpr std::uint32_t kSomeTime =
    (46U << 9U | 3U << 5U | 15U) << 16U | (10U << 11U | 42U << 5U | 3U);

inline void makeBundle(const std::string& path, const BundleTexts& texts, const std::string& password = "") {
  BundleWriter writer;
  ASSERT_EQ("", writer.open(path, password));
  std::uint32_t time = kSomeTime;
  for (const auto& [name, text] : texts) {
    BundleEntryInfo information;
    information.name = name;
    information.size = text.size();
    information.dosTime = time++;
    information.crc = static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
    ASSERT_EQ("", writer.begin(information));
    ASSERT_EQ("", writer.write(text.data(), text.size()));
    ASSERT_EQ("", writer.end());
  }
  ASSERT_EQ("", writer.finish());
}

inline BundleTexts readBundle(const std::string& path, const std::string& password = "") {
  BundleTexts texts;
  BundleReader reader;
  EXPECT_EQ("", reader.open(path, password));
  for (std::size_t i = 0; i < reader.entries().size(); ++i) {
    std::string text;
    EXPECT_EQ("", reader.readFront(i, std::size_t{1} << 30U, text)) << reader.entries()[i].name;
    texts.emplace_back(reader.entries()[i].name, text);
  }
  return texts;
}

// The new bundle's texts without its report; "" and a test's failure where redaction fails.
inline std::string redactBundle(const std::string& in, RedactOptions options, StandIns& standIns,
                                const std::string& password = "") {
  BundleReader reader(redactLimits());
  if (std::string failure = reader.open(in, password); !failure.empty()) {
    return failure;
  }
  return BundleRedactor(reader, standIns, options).run();
}

// A summary with one document, "Logs", and the given rows.
inline std::string summaryOf(const std::vector<SummaryRow>& rows) {
  Summary summary;
  summary.time = "Sun Mar 15 10:42:07 2026";
  summary.os = "Debian GNU/Linux: 12.0.0";
  summary.user = "jane.doe";
  summary.bundlePath = "/home/jane.doe/Desktop/TOLMBundle_0315_1042.zip";
  SummarySection section;
  section.title = "Logs";
  section.included = rows;
  summary.sections.push_back(section);
  summary.hasUnknownHeading = true;
  return summaryText(summary);
}

inline SummaryRow row(const std::string& id, const std::string& name, const std::string& size) {
  return {id, name, wrappedKey(name, kSummaryNameWidth), "A file", size};
}

}  // namespace halvo::test

// OpenedBundle: a bundle that a test makes up, on disk with its content read.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo::test {

class OpenedBundle {
 public:
  explicit OpenedBundle(const ZipBuilder& zip) : OpenedBundle(zip.take()) {}
  explicit OpenedBundle(const std::string& bytes) : m_Content(m_Reader) {
    writeFile(m_Temp.file("bundle.zip"), bytes);
    EXPECT_EQ(m_Reader.open(m_Temp.file("bundle.zip"), ""), "");
    m_Content.load();
  }
  const BundleContent& operator*() const { return m_Content; }
  const BundleContent* operator->() const { return &m_Content; }

 private:
  TempFolder m_Temp;
  BundleReader m_Reader;
  BundleContent m_Content;
};

}  // namespace halvo::test

// SummaryBuilder: summaries as the engine writes them, for bundles that tests make up. The last cell of a row
// must fit.

#pragma once

#include <string>

namespace halvo::test {

class SummaryBuilder {
 public:
  explicit SummaryBuilder(const std::string& system = "Debian GNU/Linux: 12.0.0")
      : m_strText("TOLM BUNDLE SUMMARY\n\n" + cell("Time:", 30) + "Sun Mar 15 10:42:07 2026\n" +
                  cell("OS:", 30) + system + "\n" + cell("User Name:", 30) + "tester\n" +
                  cell("Bundle on client computer:", 30) + "/tmp/bundle.zip\n") {}

  SummaryBuilder& section(const std::string& title) {
    endSection();
    m_bOpen = true;
    m_strTitle = title;
    return *this;
  }
  SummaryBuilder& included(const std::string& id, const std::string& name, const std::string& description,
                           const std::string& size) {
    m_strIncluded += row(id, name, description, cell(size, 10));
    return *this;
  }
  SummaryBuilder& omitted(const std::string& id, const std::string& name, const std::string& description,
                          const std::string& reason) {
    m_strOmitted += row(id, name, description, cell(reason, 50));
    return *this;
  }

  std::string take() {
    endSection();
    return m_strText + "\n\nNo instruction found in any config for the following file ID's from request:\n";
  }

 private:
  static std::string cell(const std::string& text, std::size_t width) {
    return text + std::string(width - text.size(), ' ');
  }
  // Longer cells go on in the next row, cut as words without blanks are.
  static std::string row(std::string id, std::string name, std::string description, const std::string& last) {
    std::string rows;
    bool first = true;
    while (first || !id.empty() || !name.empty() || !description.empty()) {
      rows += cell(cut(id, 17), 17) + "  " + cell(cut(name, 28), 28) + "  " + cell(cut(description, 40), 40) +
              "  " + (first ? last : std::string(last.size(), ' ')) + "\n";
      first = false;
    }
    return rows;
  }
  static std::string cut(std::string& text, std::size_t width) {
    const std::string line = text.size() <= width ? text : text.substr(0, width - 1);
    text.erase(0, line.size());
    return line;
  }

  void endSection() {
    if (!m_bOpen) {
      return;
    }
    m_strText += "\n" + std::string(141, '=') + "\n" + m_strTitle + ":\n\nFiles Included in Bundle:\n" +
                 row("ID", "Filename", "Description", cell("File Size", 10)) + std::string(101, '-') + "\n" +
                 m_strIncluded + std::string(101, '-') + "\n";
    if (!m_strOmitted.empty()) {
      m_strText += "\n\nFiles Omitted from Bundle:\n" +
                   row("ID", "Filename", "Description", cell("Reason Omitted", 50)) + std::string(141, '-') +
                   "\n" + m_strOmitted + std::string(141, '-') + "\n";
    }
    m_strIncluded.clear();
    m_strOmitted.clear();
    m_bOpen = false;
  }

  std::string m_strText;
  std::string m_strTitle;
  std::string m_strIncluded;
  std::string m_strOmitted;
  bool m_bOpen = false;
};

// What stands over a captured output.
inline std::string banner(const std::string& command) {
  const std::string stars(75, '*');
  return "\n\r" + stars + "\n\"" + command + "\" output:\n" + stars + "\n\r\n";
}

}  // namespace halvo::test

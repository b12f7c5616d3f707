// Judge: whether a rule's condition holds by what was scanned, and the lines that speak for it. One for each
// rule. Borrows the content and the scan.

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/Scan.h"

namespace halvo {

// Where the answer hangs on what couldn't be read, it is open.
enum class Answer { kNo, kOpen, kYes };

class Judge {
 public:
  Judge(const BundleContent& content, const Scan& scan) : m_rContent(content), m_rScan(scan) {}

  // What doesn't hold leaves nothing behind in evidence().
  Answer judge(const Condition& condition);

  [[nodiscard]] const Hits& evidence() const { return m_State.evidence; }
  // Of the first line that has any.
  [[nodiscard]] const std::vector<std::string>& captures() const { return m_State.captures; }

 private:
  struct State {
    Hits evidence;
    std::vector<std::string> captures;
  };

  Answer judgeKind(const Condition& condition);
  Answer judgeAll(const std::vector<Condition>& conditions);
  Answer judgeAny(const std::vector<Condition>& conditions);
  Answer judgeLines(const Condition& condition);
  Answer judgeNumbers(const Condition& condition);
  Answer judgeTime(const Condition& condition);
  [[nodiscard]] Answer judgeAge(const Condition& condition) const;
  bool sizeHolds(const Condition& condition);
  [[nodiscard]] bool anyFile(const FileSelector& selector) const;
  void take(const Hits& hits);

  const BundleContent& m_rContent;
  const Scan& m_rScan;
  State m_State;
};

}  // namespace halvo

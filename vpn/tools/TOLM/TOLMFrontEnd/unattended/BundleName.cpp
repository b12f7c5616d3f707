#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/BundleName.h"

#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <locale>
#include <sstream>

namespace halvo {

namespace {

constexpr std::size_t kLongestLabel = 64;

bool isNameCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_';
}

std::string formatUtc(std::time_t time, const char* format) {
  std::tm parts = {};
  gmtime_r(&time, &parts);
  std::ostringstream text;
  // A name that programs look for follows nobody's language.
  text.imbue(std::locale::classic());
  text << std::put_time(&parts, format);
  return text.str();
}

}  // namespace

std::string labelProblem(const std::string& label) {
  if (label.empty() || label.size() > kLongestLabel || label.front() == '.' ||
      !std::all_of(label.begin(), label.end(), isNameCharacter)) {
    return "a label has 1 to 64 letters, digits, \"-\", \".\" or \"_\", the first of them no \".\"";
  }
  return "";
}

std::string unattendedBundleName(const std::string& host, std::time_t time, const std::string& label) {
  std::string name = host.substr(0, kLongestLabel);
  std::replace_if(
      name.begin(), name.end(), [](char character) { return !isNameCharacter(character); }, '-');
  // No hidden file: whoever fetches bundles by a pattern would miss it.
  if (!name.empty() && name.front() == '.') {
    name.front() = '-';
  }
  name += formatUtc(time, "_%Y%m%dT%H%M%SZ");
  return name + (label.empty() ? "" : "_" + label) + ".zip";
}

std::string hostName() {
  char name[256] = "";
  if (gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') {
    return "localhost";
  }
  return name;
}

std::string utcText(std::time_t time) {
  return formatUtc(time, "%Y-%m-%dT%H:%M:%SZ");
}

}  // namespace halvo

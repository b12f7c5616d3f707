#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

namespace {

constexpr char kToolFolder[] = "/opt/halvo/tessarmont/tolm/";
constexpr std::size_t kFolderBufferStep = 256;

}  // namespace

std::string translatePath(const std::string& path) {
  std::string translated = path;
  for (;;) {
    // From the start again each time: a "$" in a value has its turn.
    const std::size_t dollar = translated.find('$');
    if (dollar == std::string::npos) {
      return translated;
    }
    const std::size_t slash = translated.find('/', dollar + 1);
    if (slash == std::string::npos) {
      return translated;
    }
    const std::string name = translated.substr(dollar + 1, slash - dollar - 1);
    std::string value = getEnvValue(name);
    if (value.empty()) {
      LOG_MESSAGE(kLogError, "Cannot determine environment variable %s, path %s cannot be translated",
                  name.c_str(), translated.c_str());
      return translated;
    }
    translated = translated.substr(0, dollar) + withSlash(value) + translated.substr(slash + 1);
  }
}

std::string getEnvValue(const std::string& name) {
  const std::string plain = !name.empty() && name.front() == '$' ? name.substr(1) : name;
  const char* value = std::getenv(plain.c_str());
  return value != nullptr ? value : "";
}

std::string getUserName() {
  return getEnvValue("USER");
}

std::string stringAfterLast(const std::string& text, const std::string& delimiter) {
  const std::size_t last = text.rfind(delimiter);
  return last == std::string::npos ? text : text.substr(last + delimiter.size());
}

std::string stringBeforeLast(const std::string& text, const std::string& delimiter, bool keepOneCharacter) {
  const std::size_t last = text.rfind(delimiter);
  return last == std::string::npos ? text : text.substr(0, last + (keepOneCharacter ? 1 : 0));
}

std::string stringBeforeFirst(const std::string& text, const std::string& delimiter) {
  return text.substr(0, text.find(delimiter));
}

std::string buildBundleFileName(const std::string& configuredName, const std::string& sourceFileName) {
  const std::string stemA = stringBeforeLast(configuredName, ".");
  const std::string extA = stringAfterLast(configuredName, ".");
  const std::string stemB = stringBeforeLast(sourceFileName, ".");
  const std::string extB = stringAfterLast(sourceFileName, ".");
  if (configuredName.empty()) {
    return stemB.empty() ? extB : sourceFileName;
  }
  if (stemA.empty()) {
    return stemB.empty() ? "." + extA + "__" + extB + "__" : "." + extA + "__" + stemB + "__" + extB;
  }
  return extA.empty() ? stemA + "__" + stemB + "." + extB : stemA + "__" + stemB + "__" + extB + "." + extA;
}

std::string sizeToText(double bytes, int decimals) {
  static constexpr const char* kSuffixes[] = {"K", "M", "G", "T", "P", "E", "Z", "Y"};
  constexpr std::uint32_t kLastUnit = 9;
  std::uint32_t unit = 1;
  // The second test ends the count for an infinite size.
  while (bytes >= std::pow(1024.0, unit) && std::isfinite(std::pow(1024.0, unit))) {
    ++unit;
  }
  // The divisor and the quotient pass through 32 bits: some seven digits survive, and that is enough.
  const float divisor = powerOfFloat(unit - 1, 1024.0F);
  const auto quotient = static_cast<float>(bytes / static_cast<double>(divisor));
  const bool hasSuffix = unit >= 2 && unit <= kLastUnit;
  return floatToText(quotient, unit == 1 ? 0 : decimals) + (hasSuffix ? kSuffixes[unit - 2] : " bytes");
}

std::string floatToText(float value, int decimals) {
  std::ostringstream text;
  // A stream swallows an allocation that fails, and the text would be cut.
  text.exceptions(std::ios::badbit);
  text.imbue(std::locale::classic());
  text << std::fixed;
  text.precision(decimals);
  text << value;
  return text.str();
}

float powerOfFloat(std::uint32_t exponent, float base) {
  float power = 1.0F;
  for (std::uint32_t i = 0; i < exponent; ++i) {
    power *= base;
  }
  return power;
}

std::string currentDirectory() {
  for (std::size_t size = kFolderBufferStep;; size += kFolderBufferStep) {
    std::vector<char> buffer(size, '\0');
    // Another failure leaves the buffer as it was, which is the empty text.
    if (getcwd(buffer.data(), buffer.size()) != nullptr || errno != ERANGE) {
      return buffer.data();
    }
  }
}

std::string absolutePath(std::string path) {
  if (path.rfind("./", 0) == 0) {
    return withSlash(currentDirectory()) + path.substr(2);
  }
  if (path.find('/') == std::string::npos) {
    return withSlash(currentDirectory()) + path;
  }
  return path;
}

int randomFiveDigits() {
  return randomFiveDigits(std::time(nullptr));
}

int randomFiveDigits(std::time_t second) {
  std::srand(static_cast<unsigned>(second));
  return std::rand() % 100000;  // NOLINT: a name that is free is wanted, not a secret
}

std::string osDescription() {
  OSInfo record;
  getOSInfo(record);
  return osDescription(record);
}

std::string osDescription(const OSInfo& record) {
  std::string text = "Unknown:";
  if (record.family == kFamilyMac) {
    // The one without a colon. Readers of summaries know it so.
    text = "macOS";
  } else if (record.family == kFamilyLinux) {
    text = std::string(record.name) + ":";
  }
  return text + " " + record.versionText;
}

std::string timeText(int selector) {
  return halvo::timeText(selector);
}

std::string workFolder() {
  return kWorkFolder;
}

std::string toolFolder() {
  return kToolFolder;
}

std::string defaultConfigFolder() {
  return toolFolder() + "xml/config/";
}

std::string defaultBundleFolder() {
  return "$HOME/Desktop/";
}

}  // namespace halvo::helperUtil

#include "vpn/tools/TOLM/TOLMBundle/Ask.h"

#include <libxml/xmlstring.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

// For an attribute in double quotes (Extensible Markup Language 1.0, section 2.4).
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r': {
        // As they are they would be read as blanks.
        char reference[8];
        std::snprintf(reference, sizeof(reference), "&#%u;", static_cast<unsigned>(byte));
        result += reference;
        break;
      }
      default:
        result += c;
    }
  }
  return result;
}

bool isLeftOutByRedaction(const MissingFile& missing) {
  return missing.reason.starts_with(kLeftOut);
}

}  // namespace

std::vector<std::string> missingItems(const BundleContent& content, Redacted redacted) {
  std::vector<std::string> ids;
  std::set<std::string> seen;
  for (const MissingFile& missing : content.missing()) {
    // Comments are the user's own words: no document has an item for them.
    const bool wanted = redacted == Redacted::kAskedFor || !isLeftOutByRedaction(missing);
    if (wanted && !missing.id.empty() && missing.id != "comments" && seen.insert(missing.id).second) {
      ids.push_back(missing.id);
    }
  }
  return ids;
}

bool canBeAskedFor(const std::string& id) {
  // U+FFFE and U+FFFF are no characters of XML.
  if (id.find("\xef\xbf\xbe") != std::string::npos || id.find("\xef\xbf\xbf") != std::string::npos) {
    return false;
  }
  const bool controls = std::any_of(id.begin(), id.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && c != '\t' && c != '\n' && c != '\r';
  });
  return !controls && xmlCheckUTF8(reinterpret_cast<const xmlChar*>(id.c_str())) == 1;
}

std::string requestDocument(const std::vector<std::string>& ids) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n";
  std::set<std::string> seen;
  for (const std::string& id : ids) {
    if (canBeAskedFor(id) && seen.insert(id).second) {
      text += "  <file id=\"" + xmlWithoutControls(escaped(id)) + "\"/>\n";
    }
  }
  return text + "</request>\n";
}

}  // namespace halvo

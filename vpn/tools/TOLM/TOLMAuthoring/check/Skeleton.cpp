#include "vpn/tools/TOLM/TOLMAuthoring/check/Skeleton.h"

#include <dirent.h>

#include <algorithm>
#include <set>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

constexpr std::size_t kMaxTitle = 255;

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

// A comment may not hold two hyphens in a row, nor end in one.
std::string forComment(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    if (c == '-' && !safe.empty() && safe.back() == '-') {
      safe += ' ';
    }
    safe += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  // No reference holds in a comment: as a reader would see the number.
  return xmlWithoutControls(safe);
}

// What "tmtolm check" would complain of in a title, and control characters, which nobody types on purpose.
bool isFolderName(const std::string& title) {
  return !title.empty() && title.size() <= kMaxTitle && !isDotName(title) && title != "summary.txt" &&
         title.front() != ' ' && title.back() != ' ' &&
         std::none_of(title.begin(), title.end(),
                      [](unsigned char c) { return c == '/' || c < 0x20 || c == 0x7f; }) &&
         // And those that are two bytes.
         xmlWithoutControls(title) == title;
}

}  // namespace

std::string newDocument(const std::string& title) {
  if (!isFolderName(title)) {
    return "";
  }
  const std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<?xml-model href="/opt/halvo/tessarmont/share/tolm/schema/tolm-document.rng" schematypens="http://relaxng.org/ns/structure/1.0"?>
<instructions>
  <configure>
    <!-- The folder in the bundle. -->
    <title>)" + escaped(title) +
                           R"(</title>
  </configure>

  <!-- One item: what is gathered together under one id. A request asks for it by the id. -->
  <file id="example-files">
    <description>Files, for example</description>
    <!-- "true": a run without a request gathers it. -->
    <default>true</default>
    <tolm>
      <os opsys="linux">
        <file_copy_action>
          <action>
            <!-- "*" and "?" behind the last "/" only; $NAME/ is an environment variable. -->
            <loc>/var/tmp/example/*.log</loc>
            <!-- A clear run deletes what matches: <clear_log apply="true"/> -->
          </action>
        </file_copy_action>
      </os>
    </tolm>
  </file>

  <file id="example-command">
    <description>Output of a command, for example</description>
    <default>true</default>
    <tolm>
      <os opsys="linux">
        <use_extern_action>
          <action>
            <!-- Begins with the program's name, which names the result: uname_result.txt. "&amp;" stands for the
                 sign; 2&gt;&amp;1 gathers what the command complains of. -->
            <args>uname -a 2&gt;&amp;1</args>
            <stdout/>
          </action>
        </use_extern_action>
      </os>
    </tolm>
  </file>
</instructions>
)";
  // Bytes that are no UTF-8 name folders as well as others do, and break the document.
  return parseDocumentText(text).root == nullptr ? "" : text;
}

std::vector<RequestableItem> requestableItems(const std::string& folder,
                                              std::vector<std::string>& unreadable) {
  std::vector<std::string> names;
  const FolderHolder stream(opendir(folder.c_str()));
  if (stream == nullptr) {
    unreadable.push_back(folder);
    return {};
  }
  while (const dirent* entry = readdir(stream.get())) {
    if (TOLMMgr::isDocumentName(entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  std::sort(names.begin(), names.end());
  std::vector<RequestableItem> items;
  std::set<std::string> ids;
  for (const std::string& name : names) {
    const std::string path = folder + "/" + name;
    const DocumentTree tree = parseDocumentFile(path);
    if (tree.root == nullptr) {
      unreadable.push_back(path);
      continue;
    }
    const DocumentElement* const title = tree.root->find("title");
    for (const DocumentElement* item : tree.root->childrenNamed("file")) {
      const DocumentAttribute* const id = item->attribute("id");
      // Asked for once, an id is gathered from every document that has it.
      if (id == nullptr || id->value.empty() || id->value == "comments" || id->value == "summary" ||
          item->find("tolm") == nullptr || !ids.insert(id->value).second) {
        continue;
      }
      const DocumentElement* const description = item->find("description");
      items.push_back({title == nullptr ? name : title->text, meantValue(id->value),
                       description == nullptr ? "" : description->text});
    }
  }
  return items;
}

std::string newRequest(const std::vector<RequestableItem>& items) {
  std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<?xml-model href="/opt/halvo/tessarmont/share/tolm/schema/tolm-request.rng" schematypens="http://relaxng.org/ns/structure/1.0"?>
<!-- Take out what isn't wanted. A comment for whoever reads the bundle: <comments>...</comments> -->
<request>
)";
  std::string document;
  for (const RequestableItem& item : items) {
    if (item.document != document || &item == &items.front()) {
      document = item.document;
      text += "\n  <!-- " + forComment(document) + " -->\n";
    }
    text += "  <file id=\"" + xmlWithoutControls(escaped(item.id)) + "\"/> <!-- " +
            forComment(item.description) + " -->\n";
  }
  return text + "</request>\n";
}

}  // namespace halvo

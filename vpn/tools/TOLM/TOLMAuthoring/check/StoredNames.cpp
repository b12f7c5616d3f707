#include "vpn/tools/TOLM/TOLMAuthoring/check/StoredNames.h"

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

constexpr std::size_t kMaxPatterns = 200;
// Of a name that file systems take.
constexpr std::size_t kMaxName = 255;

std::string lineOf(Position position) {
  return "line " + std::to_string(position.line);
}

bool isWild(const std::string& pattern) {
  return pattern.find_first_of("*?") != std::string::npos;
}

std::string ownerOf(const ActionPlace& place) {
  return std::to_string(place.item->position.line) + ":" + std::to_string(place.item->position.column) + " ";
}

}  // namespace

void StoredNames::addCopy(const DocumentElement& element, const std::string& folder,
                          const std::string& pattern, const ActionPlace& place) {
  if (!place.defaultItem || pattern.empty()) {
    return;
  }
  if (isWild(pattern)) {
    addNamesNow(element, folder, pattern, place);
    return;
  }
  if (const auto result = m_Results.find({place.opsys, pattern}); result != m_Results.end()) {
    m_List.add("copy-result-collision", element,
               quotedText(pattern) + " is the result of the command at " + lineOf(result->second.position) +
                   " too: a run keeps one of the two, the later");
  }
  const auto [found, added] =
      m_Copies.insert({{place.opsys, pattern}, {place.kind, folder, element.position}});
  if (!added && found->second.folder != folder) {
    m_List.add(
        "copy-collision", element,
        quotedText(pattern) + " of another folder is stored by the action at " +
            lineOf(found->second.position) +
            ": a default run keeps one of the two, the later; put one into a document of another title");
    return;
  }
  addNamesNow(element, folder, pattern, place);
}

// By what lies in the folders now: two patterns may have a name in common that no file ever bears.
void StoredNames::addNamesNow(const DocumentElement& element, const std::string& folder,
                              const std::string& pattern, const ActionPlace& place) {
  if (++m_nPatterns > kMaxPatterns || folder.find('$') != std::string::npos) {
    return;
  }
  bool told = false;
  for (const std::string& name : m_Host.namesIn(folder, pattern)) {
    const auto [found, added] =
        m_NamesNow.insert({{place.opsys, name}, {place.kind, folder, element.position}});
    if (!added && !told && found->second.folder != folder) {
      m_List.add("wildcard-collision", element,
                 quotedText(name) + " lies here and in the folder of the action at " +
                     lineOf(found->second.position) +
                     ": a default run keeps one of the two files, the later; put one into a document of "
                     "another title");
      told = true;
    }
  }
}

// Captured output is stored under the program's name. Within one kind element it is appended; a later
// kind starts anew and replaces what lies in the bundle.
void StoredNames::addResult(const DocumentElement& element, const std::string& baseName,
                            const ActionPlace& place) {
  const std::string name = baseName + "_result.txt";
  if (name.size() > kMaxName) {
    m_List.add("name-too-long", element,
               "the result's name would have " + std::to_string(name.size()) + " bytes: file systems take " +
                   std::to_string(kMaxName) + ", and the output is lost");
    return;
  }
  if (!place.itemName.empty()) {
    const auto [first, added] = m_Named.insert({{place.opsys, ownerOf(place)}, {baseName, element.position}});
    if (!added && first->second.first != baseName) {
      m_List.add("name-shared", element,
                 "a run by request stores this output under the item's name " + quotedText(place.itemName) +
                     ", as that of " + lineOf(first->second.second) +
                     ": both land in one file, or the later replaces the earlier; make two items of them");
    }
  }
  const std::string owner = place.defaultItem ? "" : ownerOf(place);
  const auto [found, added] =
      m_Results.insert({{place.opsys, owner + name}, {place.kind, "", element.position}});
  if (!added && found->second.kind != place.kind) {
    m_List.add(
        "result-replaced", element,
        "the output goes to " + quotedText(name) + ", as that of " + lineOf(found->second.position) +
            " does: a run keeps only the last; put both into one <use_extern_action>, or into documents of "
            "different titles");
  }
  if (const auto copy = m_Copies.find({place.opsys, name});
      added && place.defaultItem && copy != m_Copies.end()) {
    m_List.add("copy-result-collision", element,
               "the output goes to " + quotedText(name) + ", where the file of " +
                   lineOf(copy->second.position) + " lies: a run keeps one of the two, the later");
  }
}

}  // namespace halvo

#include "vpn/tools/TOLM/TOLMBundle/Show.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/CapturedOutput.h"

namespace halvo {

namespace {

using Json = nlohmann::ordered_json;

// An object of members and lists, written piece by piece in the form in which it would be dumped as a whole.
class JsonStream {
 public:
  explicit JsonStream(const TextSink& sink) : m_rSink(sink) { m_rSink("{"); }

  void add(const std::string& name, const Json& value) {
    beginMember(name);
    m_rSink(dumped(value, kMember));
  }
  void beginList(const std::string& name) {
    beginMember(name);
    m_rSink("[");
    m_bFirstElement = true;
  }
  void addElement(const Json& value) {
    m_rSink(std::string(m_bFirstElement ? "\n" : ",\n") + kElement + dumped(value, kElement));
    m_bFirstElement = false;
  }
  void endList() { m_rSink(m_bFirstElement ? "]" : std::string("\n") + kMember + "]"); }
  void finish() { m_rSink(m_bFirstMember ? "}\n" : "\n}\n"); }

 private:
  static constexpr char kMember[] = "  ";
  static constexpr char kElement[] = "    ";

  static std::string dumped(const Json& value, const std::string& indentation) {
    // What a bundle holds may be any bytes, and the text may go to a terminal.
    const std::string text = jsonWithoutControls(value.dump(2, ' ', false, Json::error_handler_t::replace));
    std::string indented;
    // A line feed within a string is escaped: each one here begins a line.
    for (const char c : text) {
      indented += c;
      indented += c == '\n' ? indentation : "";
    }
    return indented;
  }
  void beginMember(const std::string& name) {
    m_rSink(std::string(m_bFirstMember ? "\n" : ",\n") + kMember + Json(name).dump() + ": ");
    m_bFirstMember = false;
  }

  const TextSink& m_rSink;
  bool m_bFirstMember = true;
  bool m_bFirstElement = true;  // of the list that was begun last
};

// Thousandths of the whole.
std::uint64_t shareOf(std::uint64_t size, std::uint64_t whole) {
  return whole == 0
             ? 0
             : static_cast<std::uint64_t>(1000.0 * static_cast<double>(size) / static_cast<double>(whole));
}

std::string padLeft(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

std::string padRight(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

void addHeadLine(std::string& text, const std::string& label, const std::string& value) {
  if (!value.empty()) {
    text += padRight(label, 11) + withoutControls(value) + "\n";
  }
}

std::string titleText(const std::string& title) {
  return title.empty() ? "(no title)" : title;
}

std::string headText(const BundleContent& content) {
  const BundleReader& reader = content.reader();
  const Summary& summary = content.summary();
  std::string text;
  addHeadLine(text, "Bundle:",
              reader.path() + " (" + bytesText(reader.fileSize()) + ", " +
                  std::to_string(reader.entries().size()) +
                  (reader.entries().size() == 1 ? " entry" : " entries") +
                  (reader.isEncrypted() ? ", encrypted)" : ")"));
  addHeadLine(text, "Time:", summary.time);
  addHeadLine(text, "System:", summary.os);
  addHeadLine(text, "User:", summary.user);
  addHeadLine(text, "Made as:", summary.bundlePath);
  for (const SummarySection& section : summary.sections) {
    addHeadLine(text, &section == &summary.sections.front() ? "Documents:" : "", titleText(section.title));
  }
  addHeadLine(text, "Damage:", reader.damage());
  addHeadLine(text, "Summary:", content.fault());
  return text;
}

void addMissing(std::string& text, const MissingFile& missing) {
  text +=
      "  " + withoutControls(padRight(missing.id, 16) + "  " + missing.name + ": " + missing.reason) + "\n";
}

// What is wrong with the entry, as its record or its bytes tell.
std::string whatIsWrong(const BundleContent& content, const BundledFile& file, const std::string& damage) {
  const std::string& fault = content.entry(file).fault;
  return fault.empty() ? damage : fault;
}

// `again`: the list has its entry further up. `damage`: why its bytes can't be read.
void addFile(std::string& text, const BundleContent& content, const BundledFile& file, bool again,
             const std::string& damage) {
  const BundleEntryInfo& entry = content.entry(file);
  const std::uint64_t share = shareOf(entry.size, content.wholeSize());
  text += padLeft(again ? "" : bytesText(entry.size), 12) +
          padLeft(again ? "" : std::to_string(share / 10) + "." + std::to_string(share % 10) + "%", 8) +
          "  " + withoutControls(padRight(file.id, 16) + "  " + content.placeOf(file));
  if (again) {
    text += "  (same file)\n";
    return;
  }
  if (const std::string fault = whatIsWrong(content, file, damage); !fault.empty()) {
    text += "  (not read: " + withoutControls(fault) + ")";
  } else if (file.id.empty() && !content.summary().sections.empty() &&
             content.placeOf(file) != kRedactionEntry) {
    text += "  (the summary doesn't know it)";
  }
  text += "\n";
}

Json fileJson(const BundleContent& content, const BundledFile& file, bool again, const std::string& damage) {
  const BundleEntryInfo& entry = content.entry(file);
  Json json;
  json["id"] = file.id;
  json["file"] = content.placeOf(file);
  json["document"] = file.document;
  json["description"] = file.description;
  json["size"] = entry.size;
  json["share"] = static_cast<double>(shareOf(entry.size, content.wholeSize())) / 1000;
  json["stated_size"] = file.statedSize;
  json["time"] = dosTimeText(entry.dosTime);
  if (const std::string fault = whatIsWrong(content, file, damage); !fault.empty()) {
    json["fault"] = fault;
  }
  if (again) {
    json["same_file"] = true;
  }
  return json;
}

Json missingJson(const MissingFile& missing) {
  Json json;
  json["id"] = missing.id;
  json["name"] = missing.name;
  json["document"] = missing.document;
  json["description"] = missing.description;
  json["reason"] = missing.reason;
  return json;
}

// Of an item that nobody asked for nothing is missing, and nothing is there.
bool isNotDefault(const BundleContent& content, const std::string& id) {
  const std::vector<SummarySection>& sections = content.summary().sections;
  return std::any_of(sections.begin(), sections.end(), [&id](const SummarySection& section) {
    return std::find(section.notDefault.begin(), section.notDefault.end(), id) != section.notDefault.end();
  });
}

// Why files can't be read, by their number.
std::map<std::size_t, std::string> damageOf(const std::vector<FailedOutput>& failed) {
  std::map<std::size_t, std::string> damage;
  for (const FailedOutput& output : failed) {
    if (output.isUnread) {
      damage[output.file] = output.why;
    }
  }
  return damage;
}

std::string whyOf(const std::map<std::size_t, std::string>& damage, std::size_t file) {
  const auto found = damage.find(file);
  return found == damage.end() ? "" : found->second;
}

std::string headingText(const std::string& heading, std::size_t count) {
  return "\n" + heading + " (" + std::to_string(count) + ")\n";
}

}  // namespace

std::vector<FailedOutput> findFailedOutputs(const BundleContent& content) {
  std::vector<FailedOutput> failed;
  EntryReader reader(content.reader());
  for (std::size_t i = 0; i < content.files().size(); ++i) {
    const BundledFile& file = content.files()[i];
    if (!content.entry(file).fault.empty() || !content.isFirst(i)) {
      continue;
    }
    std::string front;
    std::string why;
    const bool isUnread = !reader.readFront(file.entry, kOutputFront, front).empty();
    if (isUnread) {
      why = reader.cause();
    } else {
      why = outputFailure(front, front.size() < content.entry(file).size);
    }
    if (!why.empty()) {
      failed.push_back({i, why, isUnread});
    }
  }
  return failed;
}

std::string showText(const BundleContent& content, const std::vector<FailedOutput>& failed) {
  const Summary& summary = content.summary();
  std::string text = headText(content);
  if (!content.missing().empty()) {
    text += headingText("Missing", content.missing().size());
    for (const MissingFile& missing : content.missing()) {
      addMissing(text, missing);
    }
  }
  if (!summary.failedDocuments.empty()) {
    text += headingText("Documents that couldn't be used", summary.failedDocuments.size());
    for (const std::string& document : summary.failedDocuments) {
      text += "  " + withoutControls(document) + "\n";
    }
  }
  std::string notes;
  std::size_t count = 0;
  for (const SummarySection& section : summary.sections) {
    for (const std::string& note : section.notes) {
      notes += "  " + withoutControls(note) + "\n";
      ++count;
    }
  }
  if (count > 0) {
    text += headingText("Notes", count) + notes;
  }
  const std::map<std::size_t, std::string> damage = damageOf(failed);
  if (failed.size() > damage.size()) {
    text += headingText("Looks like a failure", failed.size() - damage.size());
    for (const FailedOutput& output : failed) {
      if (output.isUnread) {
        continue;
      }
      const BundledFile& file = content.files()[output.file];
      text += "  " + withoutControls(content.placeOf(file) + ": " + output.why) + "\n";
    }
  }
  text += headingText("There", content.firstFiles());
  for (std::size_t i = 0; i < content.files().size(); ++i) {
    addFile(text, content, content.files()[i], !content.isFirst(i), whyOf(damage, i));
  }
  return text;
}

void showJson(const BundleContent& content, const std::vector<FailedOutput>& failed, const TextSink& sink) {
  const BundleReader& reader = content.reader();
  const Summary& summary = content.summary();
  JsonStream json(sink);
  json.add("format", kBundleJsonFormat);
  json.add("bundle", {{"path", reader.path()},
                      {"size", reader.fileSize()},
                      {"entries", reader.entries().size()},
                      {"encrypted", reader.isEncrypted()},
                      {"damage", reader.damage()},
                      {"summary_fault", content.fault()}});
  json.add("machine", {{"time", summary.time},
                       {"os", summary.os},
                       {"user", summary.user},
                       {"bundle_path", summary.bundlePath}});
  json.beginList("documents");
  for (const SummarySection& section : summary.sections) {
    json.addElement(
        {{"title", section.title}, {"notes", section.notes}, {"not_default", section.notDefault}});
  }
  json.endList();
  json.add("failed_documents", summary.failedDocuments);
  json.beginList("missing");
  for (const MissingFile& missing : content.missing()) {
    json.addElement(missingJson(missing));
  }
  json.endList();
  json.beginList("failed_outputs");
  for (const FailedOutput& output : failed) {
    const BundledFile& file = content.files()[output.file];
    if (!output.isUnread) {
      json.addElement({{"id", file.id}, {"file", content.placeOf(file)}, {"why", output.why}});
    }
  }
  json.endList();
  json.beginList("files");
  const std::map<std::size_t, std::string> damage = damageOf(failed);
  for (std::size_t i = 0; i < content.files().size(); ++i) {
    json.addElement(fileJson(content, content.files()[i], !content.isFirst(i), whyOf(damage, i)));
  }
  json.endList();
  json.finish();
}

std::string showItemText(const BundleContent& content, const std::string& id) {
  std::string text;
  for (const MissingFile& missing : content.missing()) {
    if (missing.id == id) {
      addMissing(text, missing);
    }
  }
  std::set<std::size_t> told;
  for (const std::size_t file : content.filesOfItem(id)) {
    addFile(text, content, content.files()[file], !told.insert(content.files()[file].entry).second, "");
  }
  if (isNotDefault(content, id)) {
    text += "  " + withoutControls(id) + " isn't included by default; ask --item makes a request for it\n";
  }
  return text;
}

bool showItemJson(const BundleContent& content, const std::string& id, const TextSink& sink) {
  const std::vector<std::size_t> files = content.filesOfItem(id);
  const std::vector<MissingFile>& missing = content.missing();
  const bool notDefault = isNotDefault(content, id);
  if (!notDefault && files.empty() &&
      std::none_of(missing.begin(), missing.end(),
                   [&id](const MissingFile& file) { return file.id == id; })) {
    return false;
  }
  JsonStream json(sink);
  json.add("format", kBundleJsonFormat);
  json.add("id", id);
  json.add("not_default", notDefault);
  json.beginList("missing");
  for (const MissingFile& file : missing) {
    if (file.id == id) {
      json.addElement(missingJson(file));
    }
  }
  json.endList();
  json.beginList("files");
  std::set<std::size_t> told;
  for (const std::size_t file : files) {
    const BundledFile& one = content.files()[file];
    json.addElement(fileJson(content, one, !told.insert(one.entry).second, ""));
  }
  json.endList();
  json.finish();
  return true;
}

}  // namespace halvo

// What a plan says is what a run stores: random documents over random folders,
// planned and then run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

namespace halvo {
namespace {

using namespace test;
namespace fs = std::filesystem;

const std::string kPlaces = "/opt/p/";
const std::string kDocuments = "/opt/c/";

// Seconds since 1970: the year 2100.
constexpr std::int64_t kFarAhead = 4'102'444'800;

// Sizes of files, -1 for folders, whose names end in "/".
using Content = std::map<std::string, std::int64_t>;

class Maker {
 public:
  explicit Maker(unsigned seed) : m_Random(seed) {}

  void makeFolders() {
    // Nothing here is read-only but single files, so that this works without
    // root's rights too.
    fs::remove_all(kPlaces);
    fs::remove_all(kDocuments);
    for (const std::string folder : {"A", "B", "C"}) {
      test::makeFolders(kPlaces + folder);
      for (int i = number(6); i > 0; --i) {
        makeEntry(kPlaces + folder + "/" + fileName(), 2);
      }
    }
    // What a run changes in a folder makes the folder newer; what lies in it must stay the newest, and what
    // lies above it ("..", which "*.*" takes as well) newer than it. No time is left at now: whether it is
    // older than a folder that the run touches would depend on where a second ends.
    for (const auto& entry : fs::recursive_directory_iterator(kPlaces)) {
      if (!entry.is_symlink()) {
        const bool isPlace = entry.path().parent_path() == fs::path(kPlaces).parent_path();
        setModifiedTime(entry.path().string(), isPlace ? 1 : kFarAhead + 1 + number(3));
      }
    }
  }

  // Behind all that writes to the places.
  static void settleTimes() { setModifiedTime(kPlaces, kFarAhead); }

  void makeDocuments() {
    for (int i = 1 + number(3); i > 0; --i) {
      std::string items;
      for (int j = number(4); j > 0; --j) {
        items += item();
      }
      const std::string title = pick({"T1", "T2", "T1", "a", "a/b", "", ".", "T3", "x y"});
      writeFile(kDocuments + std::to_string(i) + ".xml",
                "<c>" + (chance(8) ? "" : "<configure><title>" + title + "</title></configure>\n") + items +
                    "</c>");
    }
    if (chance(6)) {
      writeFile(kDocuments + "broken.xml", "<c>");
    }
  }

  // The path of a request, or nothing for a default run.
  std::string makeRequest() {
    if (!chance(3)) {
      return "";
    }
    std::string text = "<r>";
    for (int i = number(5); i > 0; --i) {
      text += "<file id=\"" + id() + "\"/>";
    }
    text += chance(3) ? "<file id=\"summary\"><name>sum.txt</name></file>" : "";
    text += chance(3) ? "<comments>words</comments>" : "";
    text += chance(3) ? "<file id=\"comments\"><name>words.txt</name></file>" : "";
    writeFile("/opt/r.xml", text + "</r>");
    return "/opt/r.xml";
  }

 private:
  int number(int below) { return static_cast<int>(m_Random() % static_cast<unsigned>(below)); }
  bool chance(int oneIn) { return number(oneIn) == 0; }
  std::string pick(const std::vector<std::string>& from) {
    return from[static_cast<std::size_t>(number(static_cast<int>(from.size())))];
  }
  std::string id() { return pick({"i1", "i2", "i3", "i4", "I1", ""}); }
  std::string fileName() {
    return pick({"a.log", "b.log", "A.LOG", "c.txt", "d", "e", ".hidden", "echo_result.txt", "true_tmp.txt",
                 "with blank", "summary.txt", "x.y.z", "\xc3\xa4.log", "d.log"});
  }

  void makeEntry(const std::string& path, int depth) {
    if (std::error_code code; fs::exists(fs::symlink_status(path, code))) {
      return;
    }
    switch (number(depth > 0 ? 12 : 4)) {
      default:
        writeFile(path, std::string(static_cast<std::size_t>(number(9000)), 'x'));
        break;
      case 3:
        writeFile(path, "secret");
        chmod(path.c_str(), 0);
        break;
      case 5:
      case 6:
        test::makeFolders(path);
        for (int i = number(4); i > 0; --i) {
          makeEntry(path + "/" + fileName(), depth - 1);
        }
        break;
      case 7:
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        break;
      case 8:
        fs::create_symlink("/none/at/all", path);
        break;
      case 9:
        fs::create_symlink(pick({".", "..", "../A", kPlaces + "B", "a.log"}), path);
        break;
      case 10:
        makeSocket(path);
        break;
    }
  }

  static void makeSocket(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() < sizeof(address.sun_path)) {
      path.copy(address.sun_path, path.size());
      const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
      close(descriptor);
    }
  }

  std::string place() { return kPlaces + pick({"A", "B", "C", "A", "B", "none", "A/d"}) + "/"; }

  std::string copyAction() {
    const std::string pattern =
        chance(2) ? fileName() : pick({"*", "*.log", "?", "A*", "*.*", "", ".", "e*"});
    return "<action><loc" + std::string(chance(5) ? " gather_newest=\"true\"" : "") + ">" + place() +
           pattern + "</loc></action>";
  }

  std::string commandAction() {
    switch (number(9)) {
      case 0:
        return "<action><args>none x</args><temp_out>" + kPlaces + pick({"A/", "B/", "C/", "none/"}) +
               fileName() + "</temp_out></action>";
      case 1:
        return "<action><args>touch " + kPlaces + "A/made</args><temp_out>" + kPlaces +
               "A/made</temp_out></action>";
      case 2:
        return "<action><args>none</args></action>";
      case 3:
        return "<action><args>true</args><wrong/></action>";
      default:
        return "<action><args>" +
               pick({"echo one", "true", "(echo two)", "/bin/echo three", "echo.sh 2>&amp;1", "d",
                     "none 2>&amp;1"}) +
               "</args><stdout/></action>";
    }
  }

  std::string listAction() {
    const std::string list = kPlaces + "list" + std::to_string(number(3)) + ".plist";
    if (!chance(4)) {
      std::string text = "<plist><dict><key>UILogLocation</key><array>";
      for (int i = number(3); i > 0; --i) {
        text += "<string>" + place() + fileName() + "</string>";
      }
      writeFile(list, text + "</array></dict></plist>");
    }
    return "<action><path>" + list + "</path></action>";
  }

  std::string kind() {
    std::string actions;
    const int which = number(8);
    for (int i = number(3); i >= 0; --i) {
      actions += (which < 4 ? copyAction() : which < 6 ? commandAction() : listAction()) + "\n";
    }
    const std::string name = which < 4   ? "file_copy_action"
                             : which < 6 ? "use_extern_action"
                             : which < 7 ? "get_file_to_copy_action"
                                         : "unknown_action";
    return "<" + name + ">" + actions + "</" + name + ">";
  }

  std::string item() {
    std::string text = "<file id=\"" + id() + "\"><description>D</description>";
    text += chance(3) ? "<name>" + pick({"n.txt", "n", "n.", ".n", "sub/n"}) + "</name>" : "";
    text += chance(5) ? "" : "<default>" + pick({"true", "true", "true", "false"}) + "</default>";
    if (!chance(10)) {
      text += "<tolm><os opsys=\"mac\"/>";
      text += chance(10) ? "" : "<os opsys=\"linux\">" + kind() + (chance(2) ? kind() : "") + "</os>";
      text += "</tolm>";
    }
    return text + "</file>\n";
  }

  std::mt19937 m_Random;
};

Content contentOf(const std::string& folder) {
  Content content;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = fs::relative(entry.path(), folder).string();
    if (entry.is_directory()) {
      content[name + "/"] = -1;
    } else {
      content[name] = static_cast<std::int64_t>(entry.file_size());
    }
  }
  return content;
}

// What the plan says of the bundle; -1 for sizes that it can't know.
Content contentOf(const Plan& plan) {
  Content content;
  for (const std::string& name : plan.bundleNames) {
    content[name] = -1;
  }
  for (const PlannedDocument& document : plan.documents) {
    for (const PlannedItem& item : document.items) {
      for (const PlannedAction& action : item.actions) {
        for (const PlannedFile& file : action.files) {
          if (!file.problem.empty() || file.replacedBy || !document.folder) {
            continue;
          }
          const std::string name = *document.folder + file.storedAs;
          if (!file.isFolder) {
            content[name] = file.size;
          }
          for (const PlannedEntry& entry : file.inside) {
            if (entry.problem.empty()) {
              content[name + "/" + entry.path + (entry.isFolder ? "/" : "")] = entry.size;
            }
          }
        }
        for (const PlannedEntry& entry : action.inside) {
          const bool stored = action.problem.empty() || action.kind == PlannedKind::kCapture;
          if (entry.problem.empty() && stored && !action.replacedBy && document.folder) {
            content[*document.folder + action.storedAs + "/" + entry.path + (entry.isFolder ? "/" : "")] =
                entry.size;
          }
        }
        // A captured output is as long as it gets; of a launch the file is
        // known if it was there.
        if (action.kind == PlannedKind::kLaunch && action.problem.empty() && !action.replacedBy &&
            action.outputSize >= 0 && action.program == "none" && document.folder) {
          content[*document.folder + action.storedAs] = action.outputSize;
        }
      }
    }
  }
  return content;
}

std::string readIfThere(const std::string& path) {
  return exists(path) ? readFile(path) : "";
}

class PlanRunTest : public ::testing::Test {
 protected:
  static void runCases(unsigned first, unsigned count) {
    for (unsigned seed = first; seed < first + count; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      runCase(seed);
      if (HasFailure()) {
        tellDocuments();
        return;
      }
    }
  }

 private:
  static void tellDocuments() {
    for (const std::string& name : listFolder(kDocuments)) {
      ADD_FAILURE() << name << ":\n" << readFile(kDocuments + name);
    }
    for (const auto& entry : fs::recursive_directory_iterator(kPlaces)) {
      std::cerr << entry.path()
                << (entry.is_symlink()     ? " link"
                    : entry.is_directory() ? " folder"
                                           : "")
                << "\n";
    }
  }

  // A launched command that ends just when a second of waiting does counts as one that ran out of time, and
  // its output stays where it is, which no plan foresees. A busy machine lets commands take that long: once
  // more then.
  static void runCase(unsigned seed) {
    constexpr int kMostRounds = 10;
    for (int round = 1; round <= kMostRounds && !tryCase(seed, round == kMostRounds); ++round) {
    }
  }

  // Whether the case was judged, which the last one is in any case.
  static bool tryCase(unsigned seed, bool isLast) {
    const LogRecorder log;
    Maker maker(seed);
    maker.makeFolders();
    maker.makeDocuments();
    const std::string request = maker.makeRequest();
    Maker::settleTimes();
    fs::remove("/tmp/summary.txt");

    const WithoutFileOverride noOverride;
    PlanHost host;
    Plan plan;
    {
      const DocumentFolder folder(kDocuments, true);
      LoadedDocument requestDocument;
      if (!request.empty()) {
        requestDocument = loadDocument(request);
      }
      plan = buildPlan(folder.sources(), requestDocument.document, host, {true, false, false});
    }

    Content stored;
    std::string summary;
    TOLMEngine engine(request, "/opt/out.zip", "", false);
    engine.setConfigFolder(kDocuments);
    engine.setArchiveStep(
        [&](const std::string& folder, const std::string& /*path*/, const std::string& /*password*/) {
          stored = contentOf(folder);
          summary = plan.summaryPath ? readIfThere(folder + "/" + *plan.summaryPath) : "";
          return ResultCode{0};
        });
    const ResultCode rc = engine.run();
    if (!isLast && log.hasReturnCode(kLogError, "TOLMAction::callExtern", PROCESS_API_ERROR_WAIT_TIMEOUT)) {
      return false;
    }
    EXPECT_EQ(rc != 0, !plan.failure.empty()) << engine.failureText();
    if (rc == 0) {
      compare(plan, stored);
      expectOmissions(plan, summary);
    }
    return true;
  }

  static void compare(const Plan& plan, const Content& stored) {
    const Content planned = contentOf(plan);
    for (const auto& [name, size] : planned) {
      const auto found = stored.find(name);
      if (found == stored.end()) {
        ADD_FAILURE() << "planned and not stored: " << name;
      } else if (size >= 0 && found->second != size) {
        ADD_FAILURE() << name << ": planned " << size << " bytes, stored " << found->second;
      }
    }
    for (const auto& [name, size] : stored) {
      // What a command writes is foreseen as its own result alone. Until its kind ends it lies in its folder
      // too, which another action may copy.
      const bool isMade = name.size() > 5 && name.compare(name.size() - 5, 5, "/made") == 0;
      EXPECT_TRUE(isMade || planned.find(name) != planned.end()) << "stored and not planned: " << name;
    }
  }

  // What isn't gathered stands in the summary.
  static void expectOmissions(const Plan& plan, const std::string& summary) {
    if (!plan.summaryPath || plan.summaryReplacedBy) {
      return;  // outside of the bundle, or begun anew behind a file of its name
    }
    for (const PlannedDocument& document : plan.documents) {
      for (const PlannedItem& item : document.items) {
        for (const PlannedAction& action : item.actions) {
          for (const PlannedFile& file : action.files) {
            if (!file.problem.empty() && file.problem.find("says nothing") == std::string::npos) {
              const std::string name = file.path.substr(file.path.rfind('/') + 1);
              EXPECT_NE(summary.find(name.substr(0, 27)), std::string::npos)
                  << file.path << ": " << file.problem;
            }
          }
          if (action.problem == "no file matches" && !action.gatherNewest) {
            EXPECT_NE(summary.find("No file found with path matching: "), std::string::npos) << action.text;
          }
        }
      }
    }
  }
};

// In parts, so that they can run side by side.
TEST_F(PlanRunTest, WhatAPlanSaysIsWhatARunStoresFirstPart) {
  runCases(0, 600);
}

TEST_F(PlanRunTest, WhatAPlanSaysIsWhatARunStoresSecondPart) {
  runCases(10'000, 600);
}

TEST_F(PlanRunTest, WhatAPlanSaysIsWhatARunStoresThirdPart) {
  runCases(20'000, 600);
}

TEST_F(PlanRunTest, WhatAPlanSaysIsWhatARunStoresFourthPart) {
  runCases(30'000, 600);
}

}  // namespace
}  // namespace halvo

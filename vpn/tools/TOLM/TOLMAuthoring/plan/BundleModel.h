// BundleModel: the work folder of a run while a plan walks through it, as the engine's file operations
// would leave it: which names are taken, by what, and what becomes of what was stored there before.
//
// Paths are relative to the work folder; nothing is touched on the machine. What lies inside of a copied
// folder isn't in the model. A plain value of the planner.

#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

class BundleModel {
 public:
  // Something that a plan stores, by its number in the order of storing.
  using Id = std::size_t;
  static constexpr Id kNobody = static_cast<Id>(-1);

  enum class Answer {
    kStored,
    kFolderInTheWay,  // a folder, or a name that can't be removed: a run tells it among the omissions
    kNoPlace,         // no folder to store in
    kUnreadable,      // and what had the name before is gone all the same
    kPretended,       // a run counts the folder as stored, and nothing is there
  };

  BundleModel();

  // Somebody who is going to store something.
  Id newId();
  // By whom what this one stored was replaced or deleted; kNobody if it's still there.
  [[nodiscard]] Id replacer(Id id) const { return m_Replacers[id]; }

  // As MakeDirectory: whether there is something of that name afterwards.
  bool makeFolder(const std::string& path);
  [[nodiscard]] bool isFolder(const std::string& path) const;
  [[nodiscard]] bool isFile(const std::string& path) const;

  // As fileCopy with a readable or unreadable file, or with a folder or what is taken for one.
  Answer storeFile(const std::string& path, Id id, bool readable);
  Answer storeFolder(const std::string& path, Id id);

  // As opening for appending: whether that works. A file that is there stays whose it is, a new one is
  // nobody's.
  bool appendTo(const std::string& path);
  // Something is written behind the file that is there, told to whom it was.
  void writeBehind(const std::string& path, Id by);
  // A file that is there is this one's from now on.
  void own(const std::string& path, Id id);
  // A file that is there is nobody's from now on.
  void disown(const std::string& path);
  // As fileDelete, told to whom the file was.
  void remove(const std::string& path, Id by);

  // Whose the file or folder is; kNobody if nobody's or not there.
  [[nodiscard]] Id ownerOf(const std::string& path) const;

  // The path without "." and ".."; nothing where it leads out of the work folder.
  [[nodiscard]] static std::optional<std::string> normalized(const std::string& path);

  // Names of all that is there, a folder's with a "/" behind it, sorted.
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  struct Node {
    bool folder = false;
    Id owner = kNobody;
  };

  // Where the path leads, where every folder on the way is there; nothing otherwise.
  [[nodiscard]] std::optional<std::string> place(const std::string& path) const;
  // As fileDelete of a destination; whether the way is free.
  [[nodiscard]] bool clearWay(const std::string& path, Id by);

  std::map<std::string, Node> m_Nodes;
  std::vector<Id> m_Replacers;
};

}  // namespace halvo

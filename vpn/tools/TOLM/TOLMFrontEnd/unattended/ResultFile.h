// ResultFile: where a text goes that a command leaves for others, such as the status of a run; found and
// tried before the work.
//
// A reader meets an older text, none, or the whole new one, which is the caller's alone to read (mode 0600):
// it is written beside its name and renamed. A link there is replaced, not followed, for the folder may be
// another user's; but for the names of the process's own descriptors (/dev/stdout, /dev/fd/3), which are
// links everywhere. For one text, on one thread. Operations return a text for people, empty on success.

#pragma once

#include <string>
#include <utility>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class ResultFile {
 public:
  enum class Streams {
    kTaken,    // a pipe or a device at the name is written to as it is
    kRefused,  // what is planted there by somebody else is told
  };

  // `what` begins the sentences about it: "the status".
  ResultFile(std::string what, Streams streams) : m_strWhat(std::move(what)), m_Streams(streams) {}

  // Whether the path is "-" or a name of one of the process's own descriptors.
  [[nodiscard]] static bool isStream(const std::string& path);

  // Looks whether the text can be written to `path`; "-" is standard output. Leaves nothing there.
  [[nodiscard]] std::string open(const std::string& path);
  // Once it is open: removes the text of an earlier time, so that a program that ends without writing, as by
  // a signal, leaves none that could pass for its own. A stream has none.
  [[nodiscard]] std::string removeOlder();
  // Once it is open.
  [[nodiscard]] std::string write(const std::string& text);

 private:
  [[nodiscard]] std::string problemOf(const std::string& why) const;
  std::string openPlace();
  std::string replace(const std::string& text);
  int makeBeside(std::string& name) const;

  const std::string m_strWhat;
  const Streams m_Streams;
  std::string m_strPath;
  std::string m_strName;
  DescriptorHolder m_Folder;  // of a file
  DescriptorHolder m_Stream;  // what is written to as it is
};

}  // namespace halvo

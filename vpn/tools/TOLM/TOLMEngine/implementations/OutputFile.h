// Opening and closing of the files that a run writes: copies, captured output, the summary, the comments.
//
// /tmp is shared, and a name in it may have been planted. So the last component of a path is never followed
// where it is a symbolic link, and what stands there already is written to only where it is a regular
// file of this user with no other name; a pipe, a device or somebody else's file is a failure to open.
// Nothing here waits for a pipe's other end, and no child process inherits a descriptor.
//
// The functions may be used on any thread.

#pragma once

#include <cstddef>
#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

enum class OutputMode {
  kReplace,  // the file's old content goes
  kAppend,   // what is written goes behind it
};

// Opens `path` for writing, and makes it with mode 0666 less the umask where there is nothing. Holds
// nothing on a failure, with errno set. Logs nothing.
[[nodiscard]] DescriptorHolder openOutput(const std::string& path, OutputMode mode);

// The same for a path that must lie in the folder `base` or below it, wherever links among its folders
// lead: a name that came from outside can have "..", "/" and variables in it. EPERM for one that doesn't.
[[nodiscard]] DescriptorHolder openOutputBelow(const std::string& base, const std::string& path,
                                               OutputMode mode);

// The open file as a stream of the C library; null, with errno set, where it holds nothing.
[[nodiscard]] FileHolder toFile(DescriptorHolder output, OutputMode mode);

// Closes what toFile() gave. Where a write or the closing failed, notes under the name `function` that
// `path` is cut short.
void closeOutput(const char* function, const std::string& path, FileHolder file);

// Closes what `output` holds. Returns 0 or an errno value; what was written may then be lost.
[[nodiscard]] int closeAndTell(DescriptorHolder& output);

// What openOutput() opens, as a stream without a buffer: what was written is in the file. A stream that
// isn't open takes everything and keeps nothing.
class OutputStream : public std::ostream {
 public:
  OutputStream() : std::ostream(nullptr), m_Buffer(*this) { rdbuf(&m_Buffer); }
  OutputStream(const std::string& path, OutputMode mode) : OutputStream() { open(path, mode); }

  void open(const std::string& path, OutputMode mode) { m_Output = openOutput(path, mode); }
  [[nodiscard]] bool is_open() const { return static_cast<bool>(m_Output); }
  // Returns the first errno value that a write or this closing gave, else 0.
  int close();

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(OutputStream& stream) : m_rStream(stream) {}

   protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;

   private:
    OutputStream& m_rStream;
  };

  DescriptorHolder m_Output;
  int m_nError = 0;
  Buffer m_Buffer;
};

}  // namespace halvo

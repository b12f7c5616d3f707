// WholeBundle: the step that makes a run's archive so that a bundle appears under its name only when it is
// whole.
//
// The archive is written beside its name, under a hidden one, held against the work folder, made durable and
// renamed. Until then a bundle of that name from an earlier run stays what it is; where anything fails it
// stays, and nothing else does. A link in the bundle's place is replaced, not followed. In a folder that
// others can write to the hidden name may come to mean another file: the archive is written and read through
// the file that was opened first, and one that has lost its name is emptied, and told as a failure.
//
// For one run, on its thread.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class Secret;

class WholeBundle {
 public:
  // Writes everything below `folder` into the open file, which is empty.
  using Writer = std::function<ResultCode(const std::string& folder, int file, const std::string& password,
                                          std::string& reason)>;
  // Told the hidden path, an absolute one, while there is such a file, and an empty one when there is none
  // any more.
  using Noter = std::function<void(const std::string& path)>;

  // Tells a path in the same folder to take where the one that was wanted is taken by now.
  using NextPath = std::function<std::string()>;

  // `password` is borrowed. Without a writer, CZip::Zip() writes, and its work is looked at; another's result
  // alone counts.
  WholeBundle(const Secret& password, Noter noter, Writer writer = nullptr);

  // Has no bundle replaced: `next` is asked for as long as the path is taken. Without it, an older bundle of
  // the same path goes.
  void keepOlder(NextPath next) { m_NextPath = std::move(next); }

  // Makes the bundle. 0, or TOLMENGINE_ERROR_WRITE_FAILURE with reason(), also logged.
  [[nodiscard]] ResultCode make(const std::string& folder, const std::string& bundlePath);

  // What failed, or what is missing; for the line that tells the failure.
  [[nodiscard]] const std::string& reason() const { return m_strReason; }
  // Of a bundle that was made: where it is, the files that went in, and its bytes.
  [[nodiscard]] const std::string& path() const { return m_strPath; }
  [[nodiscard]] std::uint64_t files() const { return m_nFiles; }
  [[nodiscard]] std::uint64_t bytes() const { return m_nBytes; }

 private:
  ResultCode fail(const std::string& reason);
  // Gives the hidden file its name, m_strPath. Returns 0 or an errno value.
  int giveName(int parent, const std::string& hidden);
  // What is wrong with the archive that was made in the open file.
  std::string write(int file, const std::string& folder, const std::string& bundlePath);

  const Secret& m_rPassword;
  Noter m_Noter;
  Writer m_Writer;
  NextPath m_NextPath;
  std::string m_strPath;
  std::string m_strReason;
  std::uint64_t m_nFiles = 0;
  std::uint64_t m_nBytes = 0;
};

}  // namespace halvo

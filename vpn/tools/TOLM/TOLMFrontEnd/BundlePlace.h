// BundlePlace: where a bundle may be written, looked at before the work is done.
//
// The checks only look; nothing is made or opened for writing. What they say holds for the moment:
// the step that writes the bundle looks again.

#pragma once

#include <cstdint>
#include <string>

namespace halvo {

// Why no bundle can be written at `path`, as the user gave it: no folder, no right to write there, the
// place of a folder, a pipe or a device. Empty where it can. Two names are looked at, `path` and the one
// with ".zip" behind it: "/dev/stdout" doesn't mean a file "/dev/stdout.zip". `ending` stands behind that.
std::string bundlePlaceProblem(const std::string& path, const std::string& ending = "");

// Why no file can be given that name in the folder by a rename: it is too long, or taken by another user's
// file where each user's files are kept from others. Empty where one can.
std::string takenProblem(const std::string& folder, const std::string& name);

// `path`, or the first of path_2, path_3 ... (ahead of ".zip") of which there is none yet, with `ending`
// behind.
std::string freeBundlePath(const std::string& path, const std::string& ending = "");

// The folder that `path` lies in, with a "/" at its end: "./" for a bare name.
std::string folderOf(const std::string& path);

// Free bytes for this user where `folder` lies; -1 where that can't be told.
std::int64_t freeSpace(const std::string& folder);

struct SpaceFindings {
  std::string problem;  // the run can't be whole; empty if it may be
  std::string remark;   // the run may well fail; empty if not
};

// Compares what a plan says will be copied with the room for the work folder and for the bundle. The work
// folder needs all of it. How far the bundle shrinks it nobody knows; no ZIP file shrinks it below a
// 1032nd.
SpaceFindings compareSpace(std::uint64_t plannedBytes, std::int64_t freeForWork, std::int64_t freeForBundle,
                           const std::string& workFolder, const std::string& bundleFolder);

// Why a run with such a planned file can't be whole: 4 GiB and more need the longer form of an entry, which
// only encrypted bundles have. Empty if it can.
std::string largeFileProblem(const std::string& file, std::uint64_t bytes, bool encrypted);

// The size from which on a file needs a password.
inline constexpr std::uint64_t kLargeFile = 0xffffffff;

}  // namespace halvo

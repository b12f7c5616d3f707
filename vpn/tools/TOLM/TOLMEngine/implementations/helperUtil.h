// helperUtil: the engine's free functions without state: paths and names, file operations, cutting,
// and the fillers of the summary document.
//
// Strings are byte strings, a path separator is always "/". Failures are codes of the TOLMENGINE
// module and are logged where they happen, unless an operation says that it doesn't log. All
// functions may be used on any thread, but getenv and srand touch process-wide state, and two cuts
// must not run at the same time in one working folder.

#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo::helperUtil {

// --- Paths and names (helperUtil_paths.cpp) -------------------------------------------------------

// Replaces every "$NAME/" by the variable's value and a "/" behind it. A "$" without a "/" somewhere
// behind it stays. A variable that is unset or empty is logged, and what has been expanded so far is
// returned with the rest as it stands. A "$" in a value is expanded in its turn, without a limit on
// the passes: a value that holds its own name never ends.
[[nodiscard]] std::string translatePath(const std::string& path);

// The variable's value, empty if unset. `name` may begin with a "$".
[[nodiscard]] std::string getEnvValue(const std::string& name);
// The value of "USER".
[[nodiscard]] std::string getUserName();

// What follows the last delimiter; the whole text if there is none.
[[nodiscard]] std::string stringAfterLast(const std::string& text, const std::string& delimiter);
// What stands before the last delimiter, with one character more where `keepOneCharacter` is set; the
// whole text if there is none.
[[nodiscard]] std::string stringBeforeLast(const std::string& text, const std::string& delimiter,
                                           bool keepOneCharacter = false);
// What stands before the first delimiter; the whole text if there is none.
[[nodiscard]] std::string stringBeforeFirst(const std::string& text, const std::string& delimiter);

// The name under which a gathered file is stored: the item's configured name and the file's own,
// merged. Readers of bundles know the odd forms: a doubled word where a name has no dot, a trailing
// "__" where both begin with one.
[[nodiscard]] std::string buildBundleFileName(const std::string& configuredName,
                                              const std::string& sourceFileName);

// A byte count for readers: "512 bytes", "1.50K", "1.00G". Below 1024 without decimals.
[[nodiscard]] std::string sizeToText(double bytes, int decimals);
// Fixed notation, independent of the locale.
[[nodiscard]] std::string floatToText(float value, int decimals);
// base to the power of exponent, by repeated 32-bit multiplication.
[[nodiscard]] float powerOfFloat(std::uint32_t exponent, float base);

// The working folder as an absolute path; empty where it can't be had.
[[nodiscard]] std::string currentDirectory();
// Puts the working folder in front of "./name" and of a path without any "/"; any other path, a
// relative one with a folder in it too, is returned as it is.
[[nodiscard]] std::string absolutePath(std::string path);

// 0 to 99999, from the C generator seeded with the second: two calls within one second agree.
[[nodiscard]] int randomFiveDigits();
// The same of a given second.
[[nodiscard]] int randomFiveDigits(std::time_t second);

// One line that names the operating system, such as "Debian GNU/Linux: 12.0.0".
[[nodiscard]] std::string osDescription();
// The same for a given record.
[[nodiscard]] std::string osDescription(const OSInfo& record);

// The present local time as text, by sysutils' selector.
[[nodiscard]] std::string timeText(int selector);

// Where a run works; its folder may have a suffix.
inline constexpr char kWorkFolder[] = "/tmp/TOLM_Temp_Bundle";
// The same as a text.
[[nodiscard]] std::string workFolder();
// "/opt/halvo/tessarmont/tolm/"
[[nodiscard]] std::string toolFolder();
// toolFolder() + "xml/config/"
[[nodiscard]] std::string defaultConfigFolder();
// "$HOME/Desktop/", unexpanded
[[nodiscard]] std::string defaultBundleFolder();

// --- File operations (helperUtil_files.cpp) -------------------------------------------------------

// One entry of a folder listing.
struct FileFindEntry {
  std::string name;               // as it stands on disk, without its folder
  bool isDirectory = false;       // links are followed
  std::int64_t modifiedTime = 0;  // whole seconds since 1970
};

struct NewestFile {
  std::string name;
  std::int64_t modifiedTime = 0;
};

// Copies a regular file or a folder tree; modes and times aren't carried over. The destination is
// deleted first, before anything is known about the copy.
//
// Returns TOLMENGINE_ERROR_FILE_NOT_FOUND where the source can't be looked at (not logged),
// fileDelete's code where the destination can't be deleted (a folder, say), and
// TOLMENGINE_ERROR_FILE_OPEN_FAILURE where source or destination can't be opened; for the source
// nothing is logged and `errorText` gets the system's words. A destination that is empty, or the source's own
// path, gives 0 and nothing is done. A folder gives 0 whatever happened below it; what failed there is logged
// as a warning. A folder that leads back into itself is left out there. What is cut short or left out under a
// result of 0 goes to the losses (Losses.h).
//
// A destination is written as OutputFile.h says, and a source that has become a pipe isn't waited for.
[[nodiscard]] ResultCode fileCopy(const std::string& source, const std::string& destination,
                                  std::string& errorText);

// Unlinks a file; one that isn't there is a success. Any other failure is
// TOLMENGINE_ERROR_UNEXPECTED.
[[nodiscard]] ResultCode fileDelete(const std::string& path);

// mkdir with mode 0777 less the umask; the parent must exist. 0 also where the name exists already
// (logged at error level all the same), TOLMENGINE_ERROR_ACCESS_DENIED for EACCES,
// TOLMENGINE_ERROR_UNEXPECTED for the rest.
[[nodiscard]] ResultCode MakeDirectory(const std::string& path);
// The code for an errno of mkdir, EEXIST excepted.
[[nodiscard]] ResultCode mkdirResult(int error);

// Appends the entries of a folder whose names match the pattern, whatever their case, in the order of
// readdir; "." and ".." are entries like others. `folder` gets a "/" behind it where it has none,
// `pattern` becomes lower case.
//
// Returns TOLMENGINE_ERROR_BAD_PARAMETER for an empty folder, TOLMENGINE_ERROR_FILE_NOT_FOUND where
// the folder is missing or the list stays empty, TOLMENGINE_ERROR_FILE_OPEN_FAILURE where the folder
// can't be opened for another reason (not logged). A listing that breaks off gives what it had so far, and
// goes to the losses.
[[nodiscard]] ResultCode fileFindAll(std::string& folder, std::string& pattern,
                                     std::list<FileFindEntry>& entries);

// Deletes what fileFindAll() lists there, in that order, "." and ".." aside. The files go through the folder
// that was listed: whoever swaps it for another one meanwhile has nothing deleted there. A link on the way to
// the folder that somebody else than root or this user has made isn't followed, and goes to the losses:
// TOLMENGINE_ERROR_FILE_OPEN_FAILURE. Returns fileFindAll's code; an entry that stays, as a folder does, is
// logged as by fileDelete and changes nothing.
ResultCode fileDeleteMatching(const std::string& folder, const std::string& pattern);

// Deletes the files of one folder; returns the last failure. `folder` changes as in fileFindAll.
ResultCode fileDeleteAll(std::string& folder);

// --- Removal (helperUtil_removal.cpp) ---

// Removes a folder with everything in it, by descriptors: whatever is moved or swapped there meanwhile,
// nothing outside is touched. A symbolic link inside is unlinked and never followed; where the folder's
// own name is a link, nothing is touched. Its depth costs neither descriptors nor stack.
//
// Returns 0 once the folder is gone, TOLMENGINE_ERROR_BAD_PARAMETER for an empty name,
// TOLMENGINE_ERROR_ACCESS_DENIED where there is no such folder, the listing's code where it can't be
// listed, and TOLMENGINE_ERROR_UNEXPECTED where it can't be removed. Failures inside show only
// through a folder that can't be removed.
ResultCode fileDeleteDirectory(const std::string& folder);
// The same for a folder that may be the work folder of a run: one that is locked (flock) counts as one
// that can't be removed, TOLMENGINE_ERROR_UNEXPECTED, and isn't touched.
ResultCode fileDeleteLeftOver(const std::string& folder);

// The matching entry with the largest modification time; among equals the last in listing order.
// Folders take part, "." and ".." too. Returns fileFindAll's codes.
[[nodiscard]] ResultCode fileGetNewestMatchingFile(const std::string& folder, const std::string& pattern,
                                                   NewestFile& newest);

// Bytes, after translatePath; -1.0 where the file can't be looked at.
[[nodiscard]] double fileGetSize(const std::string& path);

// "*" stands for any run of bytes, "?" for exactly one; byte by byte, in linear space and without
// recursion. A null pointer on either side gives false.
[[nodiscard]] bool wildcardMatch(const char* pattern, const char* text);

// --- File cutting (helperUtil_cutting.cpp) --------------------------------------------------------

// Shorten a file in place, by way of the scratch file "temp_out.txt" in the working folder, which
// stays behind. A cut is by bytes and may split a line or a character.
//
// fileTruncateEnd keeps the first `keepSize` bytes; a larger keep size than the file leaves the whole
// file and one byte 0xFF, a negative one leaves an empty file. fileTruncateFront keeps the last
// `keepSize` bytes and leaves one byte 0xFF behind them; a larger keep size than the file leaves an
// empty file, a negative one the byte 0xFF alone.
//
// TOLMENGINE_ERROR_BAD_PARAMETER for a null path, TOLMENGINE_ERROR_FILE_OPEN_FAILURE where the file or
// the scratch file can't be opened; both are logged as errors, and the file is as it was. From then on
// the result is 0: a failed copy back, which can lose the file, is a warning in the log, and a scratch
// file that could not be written whole isn't told at all.
ResultCode fileTruncateEnd(std::int32_t keepSize, const char* path);
ResultCode fileTruncateEnd(std::int32_t keepSize, const std::string& path);
ResultCode fileTruncateFront(std::int32_t keepSize, const char* path);
ResultCode fileTruncateFront(std::int32_t keepSize, const std::string& path);

// --- Summary document (helperUtil_summary.cpp) ----------------------------------------------------

// Where a summary's sections are, for entering many files in a row: each look-up by itself walks all the
// entries of the sections before it. What a look-up gave is remembered for as long as no element has
// changed since, here or anywhere, so the answer is always the one that FindChild() would give. Borrows the
// summary.
class SummarySections {
 public:
  explicit SummarySections(XMLObject* summary) : m_pSummary(summary) {}

  [[nodiscard]] XMLObject* summary() const { return m_pSummary; }

  // What FindChild() of the root finds, null for nothing; the summary must have a root.
  [[nodiscard]] DataComponent* find(const std::string& name);

  // Puts an entry without children into a section that find() has just given.
  void add(DataComponent* section, std::unique_ptr<DataComponent> entry);
  // The same for a file: its item's id, the name to print, the item's description, and behind it the
  // attribute of the section's last column.
  void addFile(DataComponent* section, const std::string& id, const std::string& fileName,
               const std::string& description, const DataAttribute::SharedName& last,
               const std::string& lastValue);

 private:
  XMLObject* m_pSummary;
  std::map<std::string, DataComponent*> m_Found;
  std::uint64_t m_nChanges = 0;  // DataComponent::changeNumber() when m_Found was true
};

// Enters a file that was wanted and is not in the bundle: its item's id, the name to print, the item's
// description and the reason. Entries stand in the order of the calls. TOLMENGINE_ERROR_BAD_PARAMETER
// for a null summary, TOLMENGINE_ERROR_NULL_XML_ROOT for one without a root and
// TOLMENGINE_ERROR_NULL_XML_CHILD for one without the section; each is logged as an error. The forms with
// sections are for many entries in a row.
ResultCode fillSummaryFailedFile(XMLObject* summary, const std::string& id, const std::string& fileName,
                                 const std::string& description, const std::string& reason);
ResultCode fillSummaryFailedFile(SummarySections& sections, const std::string& id,
                                 const std::string& fileName, const std::string& description,
                                 const std::string& reason);

// Adds a note for the report's last section; the same codes, logged in the same way.
ResultCode fillSummaryNote(XMLObject* summary, const std::string& text);
ResultCode fillSummaryNote(SummarySections& sections, const std::string& text);

}  // namespace halvo::helperUtil

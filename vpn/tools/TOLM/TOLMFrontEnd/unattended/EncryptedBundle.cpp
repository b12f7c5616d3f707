#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/EncryptedBundle.h"

#include <cerrno>
#include <cstring>

#include "vpn/Common/Utility/DescriptorPath.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundleCheck.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Recipients.h"

namespace halvo {

namespace {

// The plain archive in a file without a name; none with a reason where that failed.
DescriptorHolder makePlainArchive(const Recipients& recipients, const std::string& folder,
                                  std::string& reason) {
  WorkFiles files;
  reason = listWorkFiles(folder, files);
  if (!reason.empty()) {
    return {};
  }
  DescriptorHolder plain(recipients.makePlainFile());
  if (!plain) {
    reason = std::string("no file can be made for the plain archive: ") + std::strerror(errno);
    return {};
  }
  // The archive's calls want a name: the descriptor's own leads to the file without one.
  if (CZip().Zip(folder, descriptorPath(plain.get()), "", true) != 0) {
    reason = "the archive can't be written; is there room in /tmp?";
    return {};
  }
  reason = bundleProblem(plain.get(), folder, files);
  return plain;
}

}  // namespace

ResultCode writeEncryptedBundle(const Recipients& recipients, const std::string& folder, int file,
                                RedactedArchiveOutcome* redaction, std::string& reason) {
  const DescriptorHolder plain = redaction != nullptr ? makeRedactedArchive(folder, "", *redaction, reason)
                                                      : makePlainArchive(recipients, folder, reason);
  if (!reason.empty()) {
    return TOLMENGINE_ERROR_WRITE_FAILURE;
  }
  reason = recipients.encrypt(plain.get(), file);
  return reason.empty() ? 0 : TOLMENGINE_ERROR_WRITE_FAILURE;
}

}  // namespace halvo

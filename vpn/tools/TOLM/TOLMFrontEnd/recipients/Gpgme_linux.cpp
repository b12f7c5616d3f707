#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Gpgme_linux.h"

#include <optional>

#include "vpn/Common/Utility/OpenedLibrary.h"

namespace halvo {

namespace {

// The name that the header's version of the interface has.
constexpr char kLibrary[] = "libgpgme.so.11";

std::optional<GpgmeCalls> load() {
  const OpenedLibrary library(kLibrary);
  GpgmeCalls calls;
  const bool whole =
      library.find("gpgme_check_version", calls.check_version) &&
      library.find("gpgme_ctx_set_engine_info", calls.ctx_set_engine_info) &&
      library.find("gpgme_data_new", calls.data_new) &&
      library.find("gpgme_data_new_from_fd", calls.data_new_from_fd) &&
      library.find("gpgme_data_new_from_file", calls.data_new_from_file) &&
      library.find("gpgme_data_release", calls.data_release) &&
      library.find("gpgme_data_seek", calls.data_seek) &&
      library.find("gpgme_engine_check_version", calls.engine_check_version) &&
      library.find("gpgme_get_key", calls.get_key) && library.find("gpgme_key_unref", calls.key_unref) &&
      library.find("gpgme_new", calls.new_context) && library.find("gpgme_op_encrypt", calls.op_encrypt) &&
      library.find("gpgme_op_encrypt_result", calls.op_encrypt_result) &&
      library.find("gpgme_op_export", calls.op_export) && library.find("gpgme_op_import", calls.op_import) &&
      library.find("gpgme_op_import_result", calls.op_import_result) &&
      library.find("gpgme_release", calls.release) && library.find("gpgme_set_armor", calls.set_armor) &&
      library.find("gpgme_set_ctx_flag", calls.set_ctx_flag) &&
      library.find("gpgme_set_offline", calls.set_offline) &&
      library.find("gpgme_set_protocol", calls.set_protocol) &&
      library.find("gpgme_set_status_cb", calls.set_status_cb) &&
      library.find("gpgme_strerror_r", calls.strerror_r);
  return whole ? std::optional<GpgmeCalls>(calls) : std::nullopt;
}

}  // namespace

const GpgmeCalls* gpgmeCalls() {
  static const std::optional<GpgmeCalls> s_calls = load();
  return s_calls.has_value() ? &*s_calls : nullptr;
}

}  // namespace halvo

#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Gpgme_linux.h"

#include <dlfcn.h>

#include <optional>

namespace halvo {

namespace {

// The name that the header's version of the interface has.
constexpr char kLibrary[] = "libgpgme.so.11";

template <typename Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

std::optional<GpgmeCalls> load() {
  void* const library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return std::nullopt;
  }
  GpgmeCalls calls;
  const bool whole =
      find(library, "gpgme_check_version", calls.check_version) &&
      find(library, "gpgme_ctx_set_engine_info", calls.ctx_set_engine_info) &&
      find(library, "gpgme_data_new", calls.data_new) &&
      find(library, "gpgme_data_new_from_fd", calls.data_new_from_fd) &&
      find(library, "gpgme_data_new_from_file", calls.data_new_from_file) &&
      find(library, "gpgme_data_release", calls.data_release) &&
      find(library, "gpgme_data_seek", calls.data_seek) &&
      find(library, "gpgme_engine_check_version", calls.engine_check_version) &&
      find(library, "gpgme_get_key", calls.get_key) && find(library, "gpgme_key_unref", calls.key_unref) &&
      find(library, "gpgme_new", calls.new_context) && find(library, "gpgme_op_encrypt", calls.op_encrypt) &&
      find(library, "gpgme_op_encrypt_result", calls.op_encrypt_result) &&
      find(library, "gpgme_op_export", calls.op_export) &&
      find(library, "gpgme_op_import", calls.op_import) &&
      find(library, "gpgme_op_import_result", calls.op_import_result) &&
      find(library, "gpgme_release", calls.release) && find(library, "gpgme_set_armor", calls.set_armor) &&
      find(library, "gpgme_set_ctx_flag", calls.set_ctx_flag) &&
      find(library, "gpgme_set_offline", calls.set_offline) &&
      find(library, "gpgme_set_protocol", calls.set_protocol) &&
      find(library, "gpgme_set_status_cb", calls.set_status_cb) &&
      find(library, "gpgme_strerror_r", calls.strerror_r);
  return whole ? std::optional<GpgmeCalls>(calls) : std::nullopt;
}

}  // namespace

const GpgmeCalls* gpgmeCalls() {
  static const std::optional<GpgmeCalls> s_calls = load();
  return s_calls.has_value() ? &*s_calls : nullptr;
}

}  // namespace halvo

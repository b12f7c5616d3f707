// GpgmeCalls: the calls of GPGME's library that bundles to public keys need, found when the first key is
// named.
//
// The library is opened by need and not linked: it brings another one with it, and together they would make
// up a tenth of the start of every run, while few runs name a key.

#pragma once

#include <gpgme.h>

namespace halvo {

struct GpgmeCalls {
  decltype(&::gpgme_check_version) check_version = nullptr;
  decltype(&::gpgme_ctx_set_engine_info) ctx_set_engine_info = nullptr;
  decltype(&::gpgme_data_new) data_new = nullptr;
  decltype(&::gpgme_data_new_from_fd) data_new_from_fd = nullptr;
  decltype(&::gpgme_data_new_from_file) data_new_from_file = nullptr;
  decltype(&::gpgme_data_release) data_release = nullptr;
  decltype(&::gpgme_data_seek) data_seek = nullptr;
  decltype(&::gpgme_engine_check_version) engine_check_version = nullptr;
  decltype(&::gpgme_get_key) get_key = nullptr;
  decltype(&::gpgme_key_unref) key_unref = nullptr;
  decltype(&::gpgme_new) new_context = nullptr;
  decltype(&::gpgme_op_encrypt) op_encrypt = nullptr;
  decltype(&::gpgme_op_encrypt_result) op_encrypt_result = nullptr;
  decltype(&::gpgme_op_export) op_export = nullptr;
  decltype(&::gpgme_op_import) op_import = nullptr;
  decltype(&::gpgme_op_import_result) op_import_result = nullptr;
  decltype(&::gpgme_release) release = nullptr;
  decltype(&::gpgme_set_armor) set_armor = nullptr;
  decltype(&::gpgme_set_ctx_flag) set_ctx_flag = nullptr;
  decltype(&::gpgme_set_offline) set_offline = nullptr;
  decltype(&::gpgme_set_protocol) set_protocol = nullptr;
  decltype(&::gpgme_set_status_cb) set_status_cb = nullptr;
  decltype(&::gpgme_strerror_r) strerror_r = nullptr;
};

// The calls, the same for the whole process; null where the library isn't installed or lacks one of them,
// which isn't tried again. Never closed, as what it has set up has no end of its own. Any thread. Logs
// nothing.
const GpgmeCalls* gpgmeCalls();

}  // namespace halvo
